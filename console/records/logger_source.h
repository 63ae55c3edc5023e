// The records behind a line.
#pragma once

#include <optional>
#include <string>

#include "line/interrupt.h"
#include "logger/logger.h"
#include "logger/register_numbers.h"
#include "records/source.h"

/// Reaches the database pointer through its register, which is found by its place in the listing
/// and trusted only when it goes where SSTO and ASTO send the pointer; nothing is written to it
/// before that. The pointer is put back to where it was, whatever happens, unless it is to stay: as
/// long as one lives an interrupt is noted, and whoever has it looks at it (interrupt.h). Throws
/// Failure; kUsage when there is no such register.
class LoggerSource final : public RecordSource {
 public:
  LoggerSource(Logger& logger, RegisterNumbers& numbers) : logger_(logger), numbers_(numbers) {}
  ~LoggerSource() override;
  LoggerSource(const LoggerSource&) = delete;
  LoggerSource& operator=(const LoggerSource&) = delete;

  std::string Header() override;
  void Set(const std::string& timeStamp) override;
  std::string Get() override;
  void Step(const std::string& way) override;
  Batch Next(long count) override;
  void Trust() override { trusted_ = true; }
  void Stay() override { moved_ = false; }

 private:
  std::string Read();
  void Write(const std::string& timeStamp);
  void Move();
  void Verify();
  bool PutBack();

  const Interrupt interrupt_{Interrupt::Then::kFinish};
  Logger& logger_;
  RegisterNumbers& numbers_;
  int number_ = 0;
  std::optional<std::string> before_;  // where the pointer was; may be empty
  bool trusted_ = false;
  bool moved_ = false;
};
