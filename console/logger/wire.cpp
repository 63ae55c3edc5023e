#include "logger/wire.h"

#include "line/failure.h"
#include "line/visible.h"
#include "logger/md_frame.h"
#include "logger/no_reply.h"
#include "serial/control_bytes.h"

namespace {

/// Characters between STX and ETX that the gateway takes.
constexpr std::size_t kLongestRequest = 255;

}  // namespace

void Wire::SendAK(const std::string& text) { Send(kSTX + text + kETX, text, false); }

/// The gateway may still wait for the check characters of a frame that had none, which are two
/// bytes or one CR; bytes before an STX are nothing to it.
void Wire::SendGNP(const std::string& text) {
  const std::string frame = kSTX + text + kETX;
  Send(kCR + frame + CheckValueOf(frame), text, true);
}

void Wire::Send(const std::string& bytes, const std::string& text, bool gnp) {
  if (text.size() > kLongestRequest) {
    throw Failure(kUsage, "The gateway takes no request of more than 255 characters.");
  }
  line_.Send(bytes);
  sentAt_ = heardAt_ = std::chrono::steady_clock::now();
  sent_ = text;
  gnp_ = gnp;
  echoed_ = false;
  heard_.clear();
}

void Wire::GiveUp() const { throw Failure(kNoReply, WhyNoReply(echoed_, heard_, address_, gnp_)); }

bool Wire::TryByte(char& byte, std::chrono::milliseconds wait) {
  if (!line_.Receive(byte, wait)) return false;
  heardAt_ = std::chrono::steady_clock::now();
  return true;
}

std::chrono::milliseconds Wire::ReplyTime() const {
  return std::chrono::duration_cast<std::chrono::milliseconds>(heardAt_ - sentAt_);
}

char Wire::ReceiveByte(const std::string& before, const std::string& text) {
  char byte = 0;
  if (TryByte(byte, patience_)) {
    if (heard_.size() < kLongestRequest) heard_ += byte;
    return byte;
  }
  if (before.empty() && text.empty()) GiveUp();
  throw Failure(kBroken, "The reply breaks off: " + Visible(before + text));
}

std::string Wire::ReceiveFrame() {
  // Bytes before the STX are noise, which is not waited out for ever.
  const auto end = std::chrono::steady_clock::now() + patience_;
  while (true) {
    while (ReceiveByte("") != kSTX) {
      if (std::chrono::steady_clock::now() > end) GiveUp();
    }
    std::string text = ReceiveText();
    heard_.clear();
    if (text != sent_) return text;
    echoed_ = true;
  }
}

std::string Wire::ReceiveText() {
  std::string text;
  const std::string before(1, kSTX);
  for (char byte = 0; (byte = ReceiveByte(before, text)) != kETX;) {
    text += byte;
    if (byte == kSTX) text.clear();  // The end of the frame before was lost.
    if (text.size() > kLongestText) throw Failure(kBroken, "The reply does not end.");
  }
  return text;
}

std::string Wire::ReceiveLine(const std::string& what) {
  std::string text;
  while (text.size() < 2 || text.compare(text.size() - 2, 2, "\r\n") != 0) {
    text += ReceiveByte(what, text);
    if (text.size() > kLongestText) throw Failure(kBroken, "The reply does not end.");
  }
  return text.substr(0, text.size() - 2);
}
