#include "logger/reply.h"

#include <algorithm>
#include <charconv>

#include "line/failure.h"
#include "line/visible.h"

namespace {

/// Reads a text that is a decimal number and nothing else. Returns false for any other.
bool ReadWhole(const std::string& text, int& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

constexpr struct {
  const char* code;
  const char* causes;
} kRefusals[] = {
    {"AREG", "no such register, or one that the agent does not tell or whose value is too long"},
    {"EREG",
     "no such register, a value that is none of its type, or an agent that does not take it: the "
     "register may be read-only"},
    {"LPRC", "the gateway cannot read its list of registers"},
    {"LCFG", "the agent does not tell the instrument's type, or tells one that is not known"},
    {"LDHD", "no database, or no records in it yet, or more names than a header holds"},
    {"ASTO",
     "no database, no records in it yet, a list of columns that they do not have, or a database "
     "pointer that is no time stamp (ssto B or ssto E replaces it)"},
    {"SSTO",
     "no database, no records in it yet, a database pointer that is no time stamp (ssto B or ssto "
     "E replaces it), or an agent that does not take the new one"},
    {"SF26", "qmxAKSetTime.0 is no date and time, or the controller's clock cannot be set"},
    {"SF03", "the agent does not take the operating mode"},
    {"SF06", "the agent does not take the operating mode"},
    {"SF25", "the agent does not take the operating mode"},
    {"SF", "there is no such function, but 03, 06, 09, 17, 25 and 26"},
};

std::string WhyRefused(const std::string& code) {
  for (const auto& refusal : kRefusals) {
    if (code.rfind(refusal.code, 0) == 0) return refusal.causes;
  }
  return "the gateway does not know it";
}

}  // namespace

AKReply ParseReply(const std::string& text, char station) {
  const std::size_t blank = text.find(' ');
  if (blank == 5 && text[0] != station) {
    const std::string other = Visible(text.substr(0, 1));
    throw Failure(kBroken, "The reply is of station " + other + " (--station " + other +
                               "), not of station " + station + ": " + VisibleStart(text));
  }
  if (blank == std::string::npos || text[0] != station) {
    throw Failure(kBroken, "The reply is no AK reply of station " + std::string(1, station) + ": " +
                               VisibleStart(text));
  }
  AKReply reply;
  reply.code = text.substr(1, blank - 1);
  const std::size_t end = std::min(text.find(' ', blank + 1), text.size());
  if (!ReadWhole(text.substr(blank + 1, end - blank - 1), reply.status)) {
    throw Failure(kBroken, "The reply has no status condition: " + VisibleStart(text));
  }
  if (end < text.size()) reply.fields = text.substr(end + 1);
  reply.refused = reply.code == kUnknown || reply.fields == "SE";
  return reply;
}

void RequireDone(const AKReply& reply, const std::string& code) {
  if (!reply.refused) return;
  if (reply.code == kUnknown) {
    throw Failure(kRefused, code + " refused (" + kUnknown +
                                "): the station has another channel (\"check\" finds it), or the "
                                "line changed the request.");
  }
  throw Failure(kRefused, code + " refused: " + WhyRefused(code) + ".");
}

int Count(const AKReply& reply) {
  int count = 0;
  if (!ReadWhole(reply.fields, count) || count < 0) {
    throw Failure(kBroken, "The reply has no number: " + Visible(reply.fields));
  }
  return count;
}
