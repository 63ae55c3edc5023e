// What a data logger asks, in both protocols, and the replies it gets.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "line/failure.h"
#include "line/line.h"
#include "logger/address.h"
#include "logger/attribution.h"
#include "logger/md_frame.h"
#include "logger/reply.h"
#include "logger/wire.h"

/// The records that an ASTO request brought.
struct Records {
  AKReply reply;
  std::vector<std::string> lines;  ///< without their line ends
  std::string rest;                ///< what came behind them and is none: a text has a line end
  bool pointerMoved = true;        ///< false when the gateway said so behind them
};

/// What an LPRC request brought.
struct RegisterListing {
  AKReply reply;
  int highest = 0;  ///< highest register number
  std::vector<std::string> names;
};

/// A request was not even sent, because one before it is still unanswered.
struct NotSent : Failure {
  using Failure::Failure;
};

/// A request was sent, and it is not known whether it was done.
struct NotKnown : Failure {
  using Failure::Failure;
};

/// Asks one request at a time. Throws Failure, kNoReply or kBroken; a request that the gateway
/// refuses is returned as such. No reply is taken for that to another request (attribution.h).
class Logger {
 public:
  Logger(Line& line, Address address, std::chrono::milliseconds patience);
  Logger(const Logger&) = delete;
  Logger& operator=(const Logger&) = delete;

  /// From now on.
  void SetAddress(const Address& address) { address_ = address; }
  const Address& GetAddress() const { return address_; }
  void SetPatience(std::chrono::milliseconds patience) { wire_.SetPatience(patience); }
  std::chrono::milliseconds GetPatience() const { return wire_.GetPatience(); }

  /// An AK request with any function code; `repeated` is the field that the reply begins with
  /// unless it is refused, if any. Functions that change something throw NotKnown when they were
  /// not answered.
  AKReply Ask(const std::string& code, const std::string& arguments = "",
              const std::string& repeated = "");

  /// AREG; `fields` of the reply is the value alone.
  AKReply ReadRegister(int number);
  AKReply WriteRegister(int number, const std::string& value);

  RegisterListing ListRegisters();

  Records NextRecords(long count);

  /// LDHD; the reply's `fields` are the names of the record fields with commas.
  AKReply Header();

  /// The GNP data reply.
  MDFrame Data();

  /// Sends this text in an AK frame, or in a GNP frame with its check value, and returns everything
  /// that comes back until the line falls silent.
  std::string Raw(const std::string& text, bool gnp);

  /// From the last request to the end of its reply.
  std::chrono::milliseconds ReplyTime() const { return wire_.ReplyTime(); }

  /// Whether the gateway has answered all that it was asked, or has passed over it.
  bool IsCaughtUp() const { return attribution_.InDoubt() == Attribution::Doubt::kNone; }

 private:
  /// What came until the gateway had caught up.
  struct Passed {
    AKReply mark;                 // its reply: unknown, or another channel
    std::optional<AKReply> late;  // the reply to the request that was given up
  };
  void SendAK(const std::string& code, const std::string& arguments);
  Passed CatchUp(const std::string& code);
  AKReply TakeReply(bool others);
  AKReply TakeLateReply(const std::string& code, const Failure& failure);
  void CatchUpInGNP();

  Address address_;
  Wire wire_;
  Attribution attribution_;
  bool behindInGNP_ = false;  // the last GNP request was given up
};
