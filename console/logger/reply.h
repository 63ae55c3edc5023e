// One AK reply.
#pragma once

#include <string>

/// What the gateway calls an AK request that it does not know, or that names another channel.
constexpr char kUnknown[] = "????";

/// A whole AK reply.
struct AKReply {
  std::string code;    ///< function code as the gateway repeats it
  int status = 0;      ///< status condition of the instrument
  std::string fields;  ///< all behind the blank that follows the status condition
  bool refused = false;
};

/// Takes the text between STX and ETX apart: station, code, blank, status condition, and the fields
/// behind a blank. Throws Failure(kBroken) when it is no reply of this station.
AKReply ParseReply(const std::string& text, char station);

/// Throws Failure(kRefused), which names the likely causes, when the request was refused.
void RequireDone(const AKReply& reply, const std::string& code);

/// A reply's only field, a number. Throws Failure(kBroken) when it is none, or is negative.
int Count(const AKReply& reply);
