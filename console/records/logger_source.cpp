#include "records/logger_source.h"

#include <iostream>

#include "line/failure.h"
#include "line/visible.h"
#include "records/capture.h"
#include "records/record.h"
#include "registers/own_registers.h"

namespace {

[[noreturn]] void Doubt() {
  throw Failure(kUsage, std::string("The number of register ") + kDatabasePointer +
                            " is not certain here, and without it no place in the records is.");
}

}  // namespace

LoggerSource::~LoggerSource() {
  if (!moved_ || PutBack()) return;
  std::cerr << "The database pointer could not be put back; it was "
            << (before_->empty() ? "empty" : "at " + Visible(*before_)) << ".\n";
}

bool LoggerSource::PutBack() {
  for (int tries = 0; tries < 3; ++tries) {
    try {
      if (!trusted_) Verify();
      // A register that was empty cannot be made empty again.
      Write(before_->empty() ? kBeforeAllRecords : *before_);
      return true;
    } catch (const Failure&) {
      continue;
    }
  }
  return false;
}

std::string LoggerSource::Header() {
  const AKReply header = logger_.Header();
  RequireDone(header, "LDHD");
  return header.fields;
}

std::string LoggerSource::Read() {
  if (number_ == 0) number_ = numbers_.Position(kDatabasePointer);
  if (number_ == 0) Doubt();
  const AKReply reply = logger_.ReadRegister(number_);
  if (reply.refused && !trusted_) Doubt();
  RequireDone(reply, "AREG");
  return reply.fields;
}

void LoggerSource::Write(const std::string& timeStamp) {
  RequireDone(logger_.WriteRegister(number_, timeStamp), "EREG");
}

/// Before the pointer is moved for the first time, its place is noted.
void LoggerSource::Move() {
  if (!before_) before_ = Read();
  moved_ = true;
}

std::string LoggerSource::Get() {
  if (before_) return Read();
  before_ = Read();
  return *before_;
}

void LoggerSource::Step(const std::string& way) {
  const bool moved = moved_;
  Move();
  const AKReply reply = logger_.Ask("SSTO", way);
  // The agent may have taken what it did not confirm.
  if (reply.refused && !moved) moved_ = Read() != *before_;
  RequireDone(reply, "SSTO");
}

RecordSource::Batch LoggerSource::Next(long count) {
  Move();
  Records records = logger_.NextRecords(count);
  RequireDone(records.reply, "ASTO");
  if (!records.pointerMoved) {
    throw Failure(kRefused, "The records came, but the database pointer could not be moved.");
  }
  return {std::move(records.lines), std::move(records.rest)};
}

void LoggerSource::Set(const std::string& timeStamp) {
  Move();
  if (!trusted_) Verify();
  Write(timeStamp);
}

/// Puts the pointer where requests put it, and looks whether the register has followed.
void LoggerSource::Verify() {
  Step("B");
  const Batch batch = Next(1);
  // Without a second record the pointer stays on the only one, if there is one.
  const std::string now = Read();
  trusted_ = batch.lines.empty() ? now.empty() || MomentOf(now).has_value()
                                 : now == TimeStamp(batch.lines.back());
  if (!trusted_) Doubt();
}
