#include "views/frame_text.h"

#include "line/visible.h"
#include "logger/md_frame.h"
#include "logger/reply.h"
#include "views/report.h"

namespace {

std::string CodeAndText(const std::string& code, const std::string& text) {
  return Visible(code + (text.empty() ? "" : " " + text));
}

std::string ReplyInWords(const Frame& frame) {
  const std::string station = " station " + Visible(std::string(1, frame.station));
  if (frame.text == "SE" && frame.code == kUnknown) {
    return "refused by" + station + ": unknown, or another channel";
  }
  const std::string condition = frame.status == "0" ? "" : ", status condition " + frame.status;
  if (frame.text == "SE") return Visible(frame.code) + " refused by" + station + condition;
  return CodeAndText(frame.code, frame.text) + " from" + station + condition;
}

std::string DataInWords(const Frame& frame) {
  if (frame.text == kUnknownCommand) return frame.text;
  if (!frame.problem.empty()) return "a data reply";
  std::string words;
  for (const MDBlock& block : ParseMDText(frame.text)) {
    words += (words.empty() ? "register " : ", register ") + Visible(block.registerNumber) + " " +
             block.Decimal();
  }
  return words;
}

std::string Said(const Frame& frame) {
  switch (frame.kind) {
    case Frame::Kind::kAKRequest:
      return CodeAndText(frame.code, frame.text) + " to station " +
             Visible(frame.station + (", channel " + frame.channel));
    case Frame::Kind::kAKReply:
      return ReplyInWords(frame);
    case Frame::Kind::kLine:
      return Visible(frame.text);
    case Frame::Kind::kGNPRequest:
      return Visible(frame.code) + " to " +
             (frame.text.empty() ? "any instrument" : "instrument " + frame.text);
    case Frame::Kind::kGNPReply:
      return DataInWords(frame);
    case Frame::Kind::kOther:
      return "of neither protocol";
    case Frame::Kind::kNone:
      break;
  }
  return std::to_string(frame.bytes.size()) + " that belong to no frame";
}

}  // namespace

std::string KindText(Frame::Kind kind) {
  static constexpr const char* kTexts[] = {"AK request", "AK reply", "AK line", "GNP request",
                                           "GNP reply",  "frame",    "bytes"};
  return kTexts[static_cast<int>(kind)];
}

std::string InWords(const Frame& frame) {
  return Said(frame) + (frame.problem.empty() ? "" : ". " + frame.problem);
}

std::vector<std::pair<std::string, std::string>> JsonMembers(const Frame& frame) {
  std::vector<std::pair<std::string, std::string>> members = {
      {"kind", JsonText(KindText(frame.kind))}};
  const std::pair<const char*, std::string> kParts[] = {
      {"station", frame.station == 0 ? "" : std::string(1, frame.station)},
      {"code", frame.code},
      {"channel", frame.channel},
      {"status", frame.status},
      {"text", frame.text},
      {"problem", frame.problem}};
  for (const auto& [name, part] : kParts) {
    if (!part.empty())
      members.emplace_back(name, name == std::string("status") ? part : JsonText(part));
  }
  members.emplace_back("bytes", JsonText(frame.bytes));
  return members;
}
