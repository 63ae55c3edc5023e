#include "records/pointer.h"

#include <ctime>
#include <iostream>

#include "line/failure.h"
#include "line/visible.h"
#include "records/position.h"
#include "records/record.h"
#include "registers/own_registers.h"

namespace {

[[noreturn]] void Doubt() {
  throw Failure(kUsage, std::string("No download: the number of register ") + kDatabasePointer +
                            " is not certain here.");
}

}  // namespace

Pointer::Pointer(Logger& logger, RegisterNumbers& numbers)
    : logger_(logger), number_(numbers.Position(kDatabasePointer)), before_(Read()) {}

Pointer::~Pointer() {
  if (stay_) return;
  try {
    // A register that was empty cannot be made empty again.
    Set(before_.empty() ? kBeforeAllRecords : before_);
  } catch (const Failure&) {
    std::cerr << "The database pointer could not be put back; it was at " << Visible(before_)
              << ".\n";
  }
}

void Pointer::Verify() {
  stay_ = false;
  RequireDone(logger_.Ask("SSTO", "B"), "SSTO");
  const Records records = logger_.NextRecords(1);
  RequireDone(records.reply, "ASTO");
  // Without a second record the pointer stays on the only one, if there is one.
  const std::string now = Read();
  std::tm time{};
  const bool trusted = records.lines.empty()
                           ? now.empty() || strptime(now.c_str(), "%Y-%m-%d", &time) != nullptr
                           : now == TimeStamp(records.lines.back());
  if (trusted) return;
  stay_ = true;
  Doubt();
}

void Pointer::Set(const std::string& timeStamp) {
  RequireDone(logger_.WriteRegister(number_, timeStamp), "EREG");
}

std::string Pointer::Read() {
  const AKReply reply = number_ == 0 ? AKReply{} : logger_.ReadRegister(number_);
  if (number_ == 0 || reply.refused) Doubt();
  return reply.fields;
}
