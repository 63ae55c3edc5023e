// The database pointer, as a register of the gateway.
#pragma once

#include <string>

#include "logger/logger.h"
#include "logger/register_numbers.h"

/// The register that holds the database pointer. It is put back to where it was, whatever happens,
/// unless it is to stay where the download has left it.
class Pointer {
 public:
  /// Reads it. Throws Failure(kUsage) when there is no such register.
  Pointer(Logger& logger, RegisterNumbers& numbers);
  ~Pointer();
  Pointer(const Pointer&) = delete;
  Pointer& operator=(const Pointer&) = delete;

  /// Trusts the register's number only if it goes where SSTO and ASTO send the database pointer;
  /// nothing is written to it by number before that. Throws Failure(kUsage) otherwise.
  void Verify();

  /// Where it was at first; may be empty.
  const std::string& Before() const { return before_; }

  void Set(const std::string& timeStamp);
  void Stay() { stay_ = true; }

 private:
  std::string Read();

  Logger& logger_;
  int number_;
  std::string before_;
  bool stay_ = true;  // nothing has moved it yet
};
