// Which number a register has: the gateway tells names and, apart from them, the highest number.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "logger/logger.h"

class RegisterNumbers {
 public:
  explicit RegisterNumbers(Logger& logger) : logger_(logger) {}

  /// All names in the order of their numbers, asked for once.
  const std::vector<std::string>& Names();

  /// Forgets what is known: LPRC has given new numbers.
  void Forget();

  /// The number of a register, given as a number or as a name; the ".0" of a name may be left out.
  /// Throws Failure(kUsage) for a name that is unknown or whose number is not certain.
  int Number(const std::string& word);

  /// The position of a name in the list, from 1, which is its number as long as no numbers are left
  /// out before it; 0 when the gateway has no such register.
  int Position(const std::string& name);

 private:
  void FindGaps();
  bool Exists(int number) { return !logger_.ReadRegister(number).refused; }

  Logger& logger_;
  std::vector<std::string> names_;
  int total_ = 0;
  bool gapsKnown_ = false;
  std::map<int, int> gaps_;  // numbers left out behind this position
};
