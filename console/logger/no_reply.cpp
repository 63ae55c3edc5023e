#include "logger/no_reply.h"

#include "line/visible.h"

namespace {

constexpr char kAdvice[] = " \"check\" looks for it.";

/// Bytes of the line that are shown.
constexpr std::size_t kShown = 16;

std::string Silence(const Address& address, bool gnp) {
  const std::string other =
      gnp ? (address.id.empty() ? "" : "have another id than " + address.id + ", or ") +
                std::string("speak AK (qmxRS232Mode 0)")
          : std::string("have another station than ") + address.station +
                ", or speak GNP (qmxRS232Mode 1, --protocol gnp)";
  return "No reply, not a byte. The instrument may " + other +
         "; its agent may not answer; the cable may be a wrong one; the gateway may not run.";
}

}  // namespace

const char kEchoed[] =
    "What is sent comes back: there is a loopback plug on the line, or a cable that joins its two "
    "wires.";

std::string WhyNoReply(bool echoed, const std::string& heard, const Address& address, bool gnp) {
  if (echoed) return std::string("No reply. ") + kEchoed;
  if (heard.empty()) return Silence(address, gnp) + kAdvice;
  return "No reply: what came is no frame: " + VisibleStart(heard, kShown) +
         ". It may come at another speed than 9600 baud, in another protocol, or through a bad "
         "cable." +
         kAdvice;
}
