// An exchange file (tests/exchanges/README.md) made of what passed on a line.
#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "recording.h"

/// What is known of the instrument at which a recording was made.
struct Known {
  std::map<int, std::string> registers;  ///< names by number, as the gateway has them
  std::map<std::string, char> moving;    ///< those whose value moves, with their type letters
  std::set<std::string> readOnly;
  int mode = 0;  ///< protocol at the beginning: 0 AK, 1 GNP

  /// Whether records were logged behind the first of these times and up to the second one.
  std::function<bool(const std::string& from, const std::string& to)> logged;
};

/// Bytes as the exchange files write them.
std::string Written(const std::string& bytes);

/// Something sent, and what came until something else was sent.
struct Turn {
  Passed request;
  std::vector<Passed> replies;
};
std::vector<Turn> TakeTurns(const std::vector<Passed>& passed);

/// For each turn the time up to which records had been logged, as far as it can be known: a reply's
/// newest record, at most that of a later ASTO that brought all of them, or else the turn's own
/// time.
std::vector<std::string> LoggedUntil(const std::vector<Turn>& turns);

/// A step for each request, with the reply that was seen, in the protocol of that reply. A register
/// that moves is given the value that the reply shows before it is asked for, until it is written.
/// Records that were logged meanwhile come out of table "later" as they were logged.
std::vector<std::string> WriteSteps(const std::vector<Turn>& turns, const Known& known);
