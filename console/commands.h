// The commands of the console, the same on the command line and at the prompt: one file for each
// family of them.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

#include "views/session.h"

/// A command's words that are no options.
using Words = std::vector<std::string>;

/// Where commands get what they work with from: may open the line, and throws Failure; null when no
/// line is named, on the command line or, if that will do, `byDefault`.
using GetSession = std::function<Session*(bool byDefault)>;

/// Adds commands to a parser. A command runs while it is parsed; it gets the session first, and
/// throws Failure.
class Commands {
 public:
  using Run = std::function<void(Session&, const Words&)>;
  struct Word {
    std::string name;
    std::string help;
  };

  Commands(CLI::App& parser, GetSession session) : parser_(parser), session_(std::move(session)) {}

  CLI::App* Add(const std::string& name, const std::string& help, const Run& run) const;

  /// The same for a command whose words are taken as they stand: a value may begin with a minus
  /// sign. Its help tells what the words are, with an example.
  void AddWithWords(const std::string& name, const std::string& help,
                    const std::vector<Word>& words, const std::string& example,
                    const Run& run) const;

  /// The same for a command that can do without a line: the session is null then.
  CLI::App* AddForDesk(const std::string& name, const std::string& help,
                       const std::function<void(Session*)>& run) const;

 private:
  CLI::App& parser_;
  GetSession session_;
};

void AddRegisterCommands(const Commands& commands);  ///< areg, ereg, lprc, registers, watch
void AddRecordCommands(const Commands& commands);    ///< ssto, asto, ldhd, download, prove, report
void AddControlCommands(const Commands& commands);   ///< lcfg, sf, da, raw, check, listen

/// All of them.
void AddCommands(CLI::App& parser, const GetSession& session);

/// A word that a command takes, in the order in which they stand.
struct Place {
  std::string name;
  bool repeated;  ///< any number of them
};
std::vector<Place> PlacesOf(const CLI::App& command);

/// A check for options that are numbers of so many digits.
std::function<std::string(const std::string&)> Digits(std::size_t count);

/// A check for options that are so many seconds.
std::function<std::string(const std::string&)> Seconds(double least, double most);

/// Words that are taken as they stand, from this one on; what looks like an option is most likely a
/// mistake: throws Failure(kUsage).
std::string Joined(const Words& words, std::size_t from);

/// A request whose reply has at most one field.
void AskPlain(Session& session, const std::string& code, const std::string& arguments,
              const std::string& what);
