// Which number a register has: the gateway tells names and, apart from them, the highest number.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "logger/logger.h"

/// A register as a command works with it.
struct Register {
  int number = 0;
  std::string name;   ///< as the gateway lists it; empty where no list was needed
  std::string label;  ///< as it was asked for
};

class RegisterNumbers {
 public:
  explicit RegisterNumbers(Logger& logger) : logger_(logger) {}

  /// All names in the order of their numbers, asked for once.
  const std::vector<std::string>& Names();

  /// The reply that they came with.
  const AKReply& Reply() const { return reply_; }

  /// All registers. Throws Failure(kUsage) when their numbers are not certain.
  std::vector<Register> All();

  /// Asks once for names and numbers unless they are known; what cannot be had, or is not certain,
  /// stays unknown. Throws Failure when the line is gone or the command is interrupted.
  void Learn();

  /// The highest number of a register.
  int Highest();

  /// Forgets what is known: LPRC gives new numbers.
  void Forget();

  /// The registers that words name: numbers, ranges such as "18-24", names in any case, whose ".0"
  /// may be left out, and patterns such as "qmxK*". Throws Failure(kUsage) for a name that is
  /// unknown or whose number is not certain.
  std::vector<Register> Find(const std::vector<std::string>& words);

  /// The same for a word that must name one register.
  Register FindOne(const std::string& word);

  /// Whether numbers and names are known without asking.
  bool Known() const { return gapsKnown_; }

  /// The name of a register; empty when there is none, or as long as they are not known.
  std::string Name(int number) const;

  /// The position of a name in the list, from 1, which is its number as long as no numbers are left
  /// out before it; 0 when the gateway has no such register.
  int Position(const std::string& name);

 private:
  void FindGaps();
  int NumberAt(std::size_t place) const;
  bool Exists(int number) { return !logger_.ReadRegister(number).refused; }

  Logger& logger_;
  AKReply reply_;
  std::vector<std::string> names_;
  int total_ = 0;
  bool gapsKnown_ = false;
  bool learned_ = false;
  std::map<int, int> gaps_;  // numbers left out behind this position
};
