#include "logger.h"

#include <cstdlib>
#include <sstream>

#include "failure.h"
#include "gnp/check_value.h"
#include "serial/control_bytes.h"

namespace {

using std::chrono::milliseconds;

/// How long the line is watched for bytes that may or may not follow a reply.
constexpr milliseconds kAftermath(50);

constexpr char kNoReplyAdvice[] =
    "No reply. Check the protocol of the instrument (qmxRS232Mode: 0 is AK, 1 is GNP), its station "
    "and channel (AK) or instrument id (GNP), the cable, and that the gateway runs.";

/// Longer than any reply: the gateway's longest is a header of 50,000 characters.
constexpr std::size_t kLongestText = 1000000;

std::string CheckValueOf(const std::string& bytes) {
  char text[3];
  WriteCheckValue(bytes.data(), static_cast<int>(bytes.size()), text);
  return text;
}

}  // namespace

char Logger::NextByte(const std::string& soFar) {
  char byte = 0;
  if (line_.Receive(byte, patience_)) return byte;
  line_.EndTrace();
  if (soFar.empty()) {
    throw Failure(kNoReply, kNoReplyAdvice);
  }
  throw Failure(kBroken, "The reply breaks off: " + Visible(soFar));
}

/// The text between STX and ETX; bytes before the STX are noise, which is not waited out for ever.
std::string Logger::ReceiveFrame() {
  const auto end = std::chrono::steady_clock::now() + patience_;
  while (NextByte("") != kSTX) {
    if (std::chrono::steady_clock::now() > end) throw Failure(kNoReply, kNoReplyAdvice);
  }
  std::string text;
  for (char byte = 0; (byte = NextByte(kSTX + text)) != kETX;) {
    text += byte;
    if (text.size() > kLongestText) throw Failure(kBroken, "The reply does not end.");
  }
  return text;
}

std::string Logger::ReceiveLine(const std::string& what) {
  std::string text;
  while (text.size() < 2 || text.compare(text.size() - 2, 2, "\r\n") != 0) {
    text += NextByte(what + text);
  }
  return text.substr(0, text.size() - 2);
}

AKReply Logger::Ask(const std::string& code, const std::string& arguments) {
  line_.Send(kSTX + (address_.station + code) + " " + address_.channel +
             (arguments.empty() ? "" : " " + arguments) + kETX);
  const std::string text = ReceiveFrame();
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
  char* end = nullptr;
  reply.status = static_cast<int>(std::strtol(text.c_str() + blank + 1, &end, 10));
  if (*end == ' ') reply.fields = end + 1;
  const bool unknown = reply.code == "????";
  if (!unknown && reply.code != code) {
    throw Failure(kBroken, "The reply is for another request: " + Visible(text));
  }
  reply.refused = unknown || reply.fields == "SE";
  return reply;
}

void RequireDone(const AKReply& reply, const std::string& request) {
  if (!reply.refused) return;
  throw Failure(kRefused, request + (reply.code == "????" ? " refused: unknown, or another channel."
                                                          : " refused."));
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
  return Ask("EREG", std::to_string(number) + " " + value);
}

AKReply Logger::ListRegisters(std::vector<std::string>& names) {
  AKReply reply = Ask("LPRC");
  if (reply.refused) return reply;
  std::istringstream listing(ReceiveLine("LPRC "));
  for (std::string name; std::getline(listing, name, ',');) names.push_back(name);
  return reply;
}

Records Logger::NextRecords(long count) {
  Records records;
  records.reply = Ask("ASTO", std::to_string(count));
  if (records.reply.refused) return records;
  const long announced = std::strtol(records.reply.fields.c_str(), nullptr, 10);
  while (static_cast<long>(records.lines.size()) < announced) {
    records.lines.push_back(
        ReceiveLine("record " + std::to_string(records.lines.size() + 1) + ": "));
  }
  // A pointer that could not be moved is told only after the records.
  char byte = 0;
  if (announced > 0 && line_.Receive(byte, kAftermath) && byte == kSTX) {
    records.pointerMoved = false;
    while (NextByte("SE") != kLF) continue;
  }
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
  frame.checkValue = NextByte(covered);
  frame.checkValue += NextByte(covered);
  if (frame.checkValue != CheckValueOf(covered)) {
    throw Failure(kBroken, "The check value is " + Visible(frame.checkValue) + ", it should be " +
                               CheckValueOf(covered) + ".");
  }
  for (char byte = 0; frame.responseEnd.size() < 3 && line_.Receive(byte, kAftermath);) {
    frame.responseEnd += byte;
  }
  line_.EndTrace();
  return frame;
}

std::string Logger::Raw(const std::string& text, bool gnp) {
  const std::string frame = kSTX + text + kETX;
  line_.Send(gnp ? frame + CheckValueOf(frame) : frame);
  std::string answer(1, NextByte(""));
  for (char byte = 0; answer.size() < kLongestText && line_.Receive(byte, milliseconds(300));) {
    answer += byte;
  }
  line_.EndTrace();
  return answer;
}
