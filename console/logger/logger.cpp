#include "logger/logger.h"

#include <algorithm>
#include <charconv>
#include <sstream>

#include "line/failure.h"
#include "line/visible.h"
#include "serial/control_bytes.h"

namespace {

using std::chrono::milliseconds;

/// How long the line is watched for bytes that may or may not follow a reply.
constexpr milliseconds kAftermath(50);

constexpr char kNoReplyAdvice[] =
    "No reply. Check the protocol of the instrument (qmxRS232Mode: 0 is AK, 1 is GNP), its station "
    "and channel (AK) or instrument id (GNP), the cable, and that the gateway runs.";

/// What the gateway calls an AK request that it does not know.
constexpr char kUnknown[] = "????";

/// Characters between STX and ETX that the gateway takes.
constexpr std::size_t kLongestRequest = 255;

/// Longer than any reply: the gateway's longest is a header of 50,000 characters.
constexpr std::size_t kLongestText = 1000000;

/// Reads a text that is a decimal number and nothing else. Returns false for any other.
bool ReadWhole(const std::string& text, int& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

}  // namespace

char Logger::NextByte(const std::string& before, const std::string& text) {
  char byte = 0;
  if (line_.Receive(byte, patience_)) return byte;
  if (before.empty() && text.empty()) throw Failure(kNoReply, kNoReplyAdvice);
  throw Failure(kBroken, "The reply breaks off: " + Visible(before + text));
}

/// Bytes before the STX are noise, which is not waited out for ever.
std::string Logger::ReceiveFrame() {
  const auto end = std::chrono::steady_clock::now() + patience_;
  while (NextByte("", "") != kSTX) {
    if (std::chrono::steady_clock::now() > end) throw Failure(kNoReply, kNoReplyAdvice);
  }
  return ReceiveText();
}

std::string Logger::ReceiveText() {
  std::string text;
  const std::string before(1, kSTX);
  for (char byte = 0; (byte = NextByte(before, text)) != kETX;) {
    text += byte;
    if (text.size() > kLongestText) throw Failure(kBroken, "The reply does not end.");
  }
  return text;
}

std::string Logger::ReceiveLine(const std::string& what) {
  std::string text;
  while (text.size() < 2 || text.compare(text.size() - 2, 2, "\r\n") != 0) {
    text += NextByte(what, text);
    if (text.size() > kLongestText) throw Failure(kBroken, "The reply does not end.");
  }
  return text.substr(0, text.size() - 2);
}

void Logger::SendAK(const std::string& code, const std::string& arguments) {
  const std::string text = (address_.station + code) + " " + address_.channel +
                           (arguments.empty() ? "" : " " + arguments);
  if (text.size() > kLongestRequest) {
    throw Failure(kUsage, "The gateway takes no request of more than 255 characters.");
  }
  line_.Send(kSTX + text + kETX);
}

/// What was not waited for may still come, and be taken for the reply to the next request. The
/// gateway serves one request behind the other: what comes behind its refusal of an unknown one is
/// new.
void Logger::CatchUp() {
  SendAK(kUnknown, "");
  while (ReceiveFrame().substr(0, 5) != address_.station + std::string(kUnknown)) continue;
}

AKReply Logger::Ask(const std::string& code, const std::string& arguments) {
  if (behind_) CatchUp();
  SendAK(code, arguments);
  behind_ = true;
  AKReply reply = TakeReply(code, ReceiveFrame());
  behind_ = false;
  return reply;
}

AKReply Logger::TakeReply(const std::string& code, const std::string& text) {
  if (!ReceiveLine(kSTX + text).empty()) {
    throw Failure(kBroken, "The reply does not end in CR LF: " + Visible(text));
  }
  // Station character, code, blank, status condition, and the fields behind a blank.
  const std::size_t blank = text.find(' ');
  if (blank == std::string::npos || text[0] != address_.station) {
    throw Failure(kBroken, "The reply is no AK reply of station " +
                               std::string(1, address_.station) + ": " + Visible(text));
  }
  AKReply reply;
  reply.code = text.substr(1, blank - 1);
  const std::size_t end = std::min(text.find(' ', blank + 1), text.size());
  if (!ReadWhole(text.substr(blank + 1, end - blank - 1), reply.status)) {
    throw Failure(kBroken, "The reply has no status condition: " + Visible(text));
  }
  if (end < text.size()) reply.fields = text.substr(end + 1);
  const bool unknown = reply.code == kUnknown;
  if (!unknown && reply.code != code) {
    throw Failure(kBroken, "The reply is for another request: " + Visible(text));
  }
  reply.refused = unknown || reply.fields == "SE";
  return reply;
}

void RequireDone(const AKReply& reply, const std::string& request) {
  if (!reply.refused) return;
  throw Failure(
      kRefused,
      request + (reply.code == kUnknown ? " refused: unknown, or another channel." : " refused."));
}

AKReply Logger::ReadRegister(int number) {
  AKReply reply = Ask("AREG", std::to_string(number));
  if (reply.refused) return reply;
  const std::string echo = std::to_string(number) + " ";
  if (reply.fields.compare(0, echo.size(), echo) != 0) {
    throw Failure(kBroken, "The reply is for another register: " + Visible(reply.fields));
  }
  reply.fields.erase(0, echo.size());
  return reply;
}

AKReply Logger::WriteRegister(int number, const std::string& value) {
  AKReply reply = Ask("EREG", std::to_string(number) + " " + value);
  if (!reply.refused && reply.fields != std::to_string(number)) {
    throw Failure(kBroken, "The reply is for another register: " + Visible(reply.fields));
  }
  return reply;
}

RegisterListing Logger::ListRegisters() {
  RegisterListing listing;
  listing.reply = Ask("LPRC");
  if (listing.reply.refused) return listing;
  behind_ = true;
  listing.highest = Count(listing.reply);
  std::istringstream names(ReceiveLine("LPRC "));
  behind_ = false;
  for (std::string name; std::getline(names, name, ',');) listing.names.push_back(name);
  return listing;
}

int Logger::Count(const AKReply& reply) {
  int count = 0;
  if (!ReadWhole(reply.fields, count) || count < 0) {
    throw Failure(kBroken, "The reply has no number: " + Visible(reply.fields));
  }
  return count;
}

Records Logger::NextRecords(long count) {
  Records records;
  records.reply = Ask("ASTO", std::to_string(count));
  if (records.reply.refused) return records;
  behind_ = true;
  const int announced = Count(records.reply);
  if (announced > count) {
    throw Failure(kBroken, "More records than were asked for: " + std::to_string(announced));
  }
  while (static_cast<long>(records.lines.size()) < announced) {
    records.lines.push_back(
        ReceiveLine("record " + std::to_string(records.lines.size() + 1) + ": "));
  }
  // A pointer that could not be moved is told only behind the records.
  char byte = 0;
  if (announced > 0 && line_.Receive(byte, kAftermath)) {
    records.pointerMoved = false;
    if (byte != kSTX || !TakeReply("ASTO", ReceiveText()).refused) {
      throw Failure(kBroken, "The records are followed by something else than the next reply.");
    }
  }
  behind_ = false;
  return records;
}

AKReply Logger::Header() {
  AKReply reply = Ask("LDHD");
  while (!reply.fields.empty() && reply.fields.back() == kLF) reply.fields.pop_back();
  return reply;
}

MDFrame Logger::Data() {
  const std::string request = kSTX + ("DA" + address_.id) + kETX;
  line_.Send(request + CheckValueOf(request));
  const std::string text = ReceiveFrame();
  if (text == kUnknownCommand) throw Failure(kRefused, text);
  MDFrame frame;
  frame.blocks = ParseMDText(text);
  const std::string covered = kSTX + text + kETX;
  frame.checkValue = NextByte(covered, "");
  frame.checkValue += NextByte(covered, "");
  if (frame.checkValue != CheckValueOf(covered)) {
    throw Failure(kBroken, "The check value is " + Visible(frame.checkValue) + ", it should be " +
                               CheckValueOf(covered) + ".");
  }
  for (char byte = 0; frame.responseEnd.size() < 3 && line_.Receive(byte, kAftermath);) {
    frame.responseEnd += byte;
  }
  line_.GetTranscript().EndLine();
  return frame;
}

std::string Logger::Raw(const std::string& text, bool gnp) {
  const std::string frame = kSTX + text + kETX;
  line_.Send(gnp ? frame + CheckValueOf(frame) : frame);
  behind_ = true;
  std::string answer(1, NextByte("", ""));
  for (char byte = 0; answer.size() < kLongestText && line_.Receive(byte, milliseconds(300));) {
    answer += byte;
  }
  behind_ = false;
  return answer;
}
