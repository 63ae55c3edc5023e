#include "logger/frames.h"

#include <charconv>

#include "line/failure.h"
#include "line/visible.h"
#include "logger/md_frame.h"
#include "serial/control_bytes.h"

namespace {

/// Longer than any frame or line of the gateway.
constexpr std::size_t kLongest = 100000;

/// Noise without a pause is told in pieces of this size.
constexpr std::size_t kNoise = 256;

constexpr char kLineEnd[] = {kCR, kLF, 0};
constexpr std::size_t kResponseEnd = 3;  // at most

bool IsNumber(const std::string& text, long& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

/// What the text between STX and ETX can be. An AK request whose channel is a number looks like a
/// reply; it is what follows the ETX that tells.
struct Shape {
  bool akRequest = false;
  bool akReply = false;
  bool gnpRequest = false;
  bool gnpData = false;
  bool gnpUnknown = false;

  explicit Shape(const std::string& text) {
    const bool id = text.size() == 5 && text.find_first_not_of("0123456789", 2) == text.npos;
    gnpRequest = text.size() == 2 || id;
    gnpData = text.compare(0, 2, "MD") == 0 && !gnpRequest;
    gnpUnknown = text == kUnknownCommand;
    if (gnpRequest || gnpData || gnpUnknown || text.size() < 5) return;
    long status = 0;
    akRequest = text.size() >= 8;
    akReply = text.size() > 6 && text[5] == ' ' &&
              IsNumber(text.substr(6, text.find(' ', 6) - 6), status);
  }
  bool EndsInLineEnd() const { return akReply || gnpUnknown; }
};

void TakeAK(const std::string& text, bool reply, Frame& frame) {
  frame.kind = reply ? Frame::Kind::kAKReply : Frame::Kind::kAKRequest;
  frame.station = text[0];
  frame.code = text.substr(1, 4);
  const std::size_t blank = reply ? text.find(' ', 6) : 8;
  (reply ? frame.status : frame.channel) = text.substr(6, blank - 6);
  if (blank < text.size()) frame.text = text.substr(blank + (text[blank] == ' ' ? 1 : 0));
}

/// The check value, or the CR in its place, stands behind the ETX.
void TestCheckValue(const std::string& covered, const std::string& behind, Frame& frame) {
  if (behind[0] == kCR) return;
  const std::string wanted = CheckValueOf(covered);
  if (behind.empty()) frame.problem = "It has no check value.";
  if (behind.empty() || behind.substr(0, 2) == wanted) return;
  frame.problem =
      "Its check value is " + Visible(behind.substr(0, 2)) + ", it should be " + wanted + ".";
}

Frame Judge(const std::string& bytes, std::size_t textEnd) {
  Frame frame;
  frame.bytes = bytes;
  if (bytes[0] != kSTX) return frame;
  frame.kind = Frame::Kind::kOther;
  if (textEnd == 0) {
    frame.text = bytes.substr(1);
    frame.problem = "It breaks off.";
    return frame;
  }
  frame.text = bytes.substr(1, textEnd - 1);
  const std::string covered = bytes.substr(0, textEnd + 1);
  const std::string behind = bytes.substr(textEnd + 1);
  const Shape shape(frame.text);
  const std::string text = frame.text;
  if (shape.gnpRequest) {
    frame.kind = Frame::Kind::kGNPRequest;
    frame.code = text.substr(0, 2);
    frame.text = text.substr(2);
    TestCheckValue(covered, behind, frame);
  } else if (shape.gnpData) {
    frame.kind = Frame::Kind::kGNPReply;
    try {
      TestCheckValue(covered, behind, frame);
      ParseMDText(text);
    } catch (const Failure& failure) {
      frame.problem = failure.what();
    }
  } else if (shape.akRequest || shape.akReply || shape.gnpUnknown) {
    const bool ended = behind == kLineEnd;
    const bool reply = shape.akReply && (ended || !shape.akRequest);
    if (shape.gnpUnknown) {
      frame.kind = Frame::Kind::kGNPReply;
    } else {
      frame.text.clear();
      TakeAK(text, reply, frame);
    }
    if (!frame.IsRequest() && !ended) frame.problem = "It does not end in CR LF.";
  }
  return frame;
}

/// Raw lines that the frame announces.
long Announced(const Frame& frame) {
  long count = 0;
  const bool listing = frame.code == "LPRC";
  if (frame.kind != Frame::Kind::kAKReply || (frame.code != "ASTO" && !listing)) return 0;
  if (!IsNumber(frame.text, count) || count < 0) return 0;
  return listing ? 1 : count;
}

}  // namespace

/// Whether nothing that could follow belongs to the frame at hand.
bool FrameDecoder::IsWhole() const {
  const Shape shape(bytes_.substr(1, textEnd_ - 1));
  const std::string behind = bytes_.substr(textEnd_ + 1);
  if (shape.EndsInLineEnd()) return behind == kLineEnd;
  const std::size_t check = !behind.empty() && behind[0] == kCR ? 1 : 2;
  if (shape.gnpRequest) return behind.size() == check;
  return !shape.gnpData || behind.size() == check + kResponseEnd;
}

bool FrameDecoder::MayEnd() const {
  return textEnd_ != 0 && Judge(bytes_, textEnd_).problem.empty();
}

void FrameDecoder::Finish(std::vector<Frame>& found) {
  if (bytes_.empty()) return;
  found.push_back(Judge(bytes_, textEnd_));
  Frame& frame = found.back();
  if (frame.kind == Frame::Kind::kNone && lines_ > 0) {
    frame.kind = Frame::Kind::kLine;
    const std::size_t end = bytes_.size() - (sizeof kLineEnd - 1);
    const bool whole = bytes_.size() > end && bytes_.compare(end, bytes_.npos, kLineEnd) == 0;
    if (whole) --lines_;
    frame.text = whole ? bytes_.substr(0, end) : bytes_;
    if (!whole) frame.problem = "It breaks off.";
  } else {
    lines_ = Announced(frame);
  }
  bytes_.clear();
  textEnd_ = 0;
}

void FrameDecoder::AddToFrame(char byte, std::vector<Frame>& found) {
  bytes_ += byte;
  if (textEnd_ == 0 && byte == kETX) textEnd_ = bytes_.size() - 1;
  if (textEnd_ == 0) return;
  const std::size_t behind = bytes_.size() - textEnd_ - 1;
  const bool misplaced = behind > 0 && behind < sizeof kLineEnd && byte != kLineEnd[behind - 1] &&
                         Shape(bytes_.substr(1, textEnd_ - 1)).EndsInLineEnd();
  if (misplaced) {
    // It begins something else.
    bytes_.pop_back();
    Finish(found);
    bytes_ = byte;
  } else if (IsWhole()) {
    Finish(found);
  }
}

std::vector<Frame> FrameDecoder::Add(char byte) {
  std::vector<Frame> found;
  if (byte == kSTX || bytes_.size() >= kLongest) Finish(found);
  if (byte == kSTX) {
    lines_ = 0;
    bytes_ = byte;
  } else if (!bytes_.empty() && bytes_[0] == kSTX) {
    AddToFrame(byte, found);
  } else {
    bytes_ += byte;
    const bool ended = byte == kLF && bytes_.size() > 1 && bytes_[bytes_.size() - 2] == kCR;
    if (lines_ > 0 ? ended : bytes_.size() == kNoise) Finish(found);
  }
  return found;
}

std::vector<Frame> FrameDecoder::End() {
  std::vector<Frame> found;
  Finish(found);
  return found;
}
