// What a data logger asks, in both protocols, and the replies it gets.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "line/line.h"
#include "logger/md_frame.h"

/// How the console addresses the gateway.
struct Address {
  char station = '4';          ///< first character of every AK request and reply
  std::string channel = "K0";  ///< channel of the AK station, two characters
  std::string id;              ///< instrument id of GNP requests, three digits; empty sends none
};

/// A whole AK reply.
struct AKReply {
  std::string code;    ///< function code as the gateway repeats it
  int status = 0;      ///< status condition of the instrument
  std::string fields;  ///< all behind the blank that follows the status condition
  bool refused = false;
};

/// The records that an ASTO request brought.
struct Records {
  AKReply reply;
  std::vector<std::string> lines;  ///< without their line ends
  bool pointerMoved = true;        ///< false when the gateway said so behind them
};

/// What an LPRC request brought.
struct RegisterListing {
  AKReply reply;
  int highest = 0;  ///< highest register number
  std::vector<std::string> names;
};

/// Asks one request at a time. Throws Failure, kNoReply or kBroken; a request that the gateway
/// refuses is returned as such.
class Logger {
 public:
  Logger(Line& line, Address address, std::chrono::milliseconds patience)
      : line_(line), address_(std::move(address)), patience_(patience) {}

  /// An AK request with any function code.
  AKReply Ask(const std::string& code, const std::string& arguments = "");

  /// AREG; `fields` of the reply is the value alone.
  AKReply ReadRegister(int number);
  AKReply WriteRegister(int number, const std::string& value);

  RegisterListing ListRegisters();

  Records NextRecords(long count);

  /// LDHD; the reply's `fields` are the names of the record fields with commas.
  AKReply Header();

  /// The GNP data reply; throws Failure(kRefused) when the gateway does not know the command.
  MDFrame Data();

  /// Sends this text in an AK frame, or in a GNP frame with its check value, and returns everything
  /// that comes back until the line falls silent.
  std::string Raw(const std::string& text, bool gnp);

 private:
  void SendAK(const std::string& code, const std::string& arguments);
  void CatchUp();
  char NextByte(const std::string& before, const std::string& text);
  std::string ReceiveFrame();  ///< the text of the next frame
  std::string ReceiveText();   ///< the same behind its STX
  std::string ReceiveLine(const std::string& what);
  AKReply TakeReply(const std::string& code, const std::string& text);
  static int Count(const AKReply& reply);

  Line& line_;
  Address address_;
  std::chrono::milliseconds patience_;
  bool behind_ = false;  // something of the last reply may still be on its way
};

/// Throws Failure(kRefused) when the request was refused.
void RequireDone(const AKReply& reply, const std::string& request);
