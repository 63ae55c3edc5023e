// Frames and lines of text on the line, waited for with patience.
#pragma once

#include <chrono>
#include <string>

#include "line/line.h"
#include "logger/address.h"

/// How long the line is watched for bytes that may or may not follow a reply.
constexpr std::chrono::milliseconds kAftermath(50);

/// Longer than any reply: the gateway's longest is a header of 50,000 characters.
constexpr std::size_t kLongestText = 1000000;

/// What receives throws Failure: kNoReply, which tells what came instead, or kBroken.
class Wire {
 public:
  /// Refers to the line and to the address, which may change.
  Wire(Line& line, const Address& address, std::chrono::milliseconds patience)
      : line_(line), address_(address), patience_(patience) {}

  /// Silence that ends the wait for a reply.
  void SetPatience(std::chrono::milliseconds patience) { patience_ = patience; }
  std::chrono::milliseconds GetPatience() const { return patience_; }

  void SendAK(const std::string& text);
  void SendGNP(const std::string& text);

  /// The text between STX and ETX of the next frame. What was sent and comes back is passed over.
  std::string ReceiveFrame();

  /// The same behind its STX.
  std::string ReceiveText();

  /// The next line without its CR LF; `what` tells a reader what came before it.
  std::string ReceiveLine(const std::string& what);

  /// Waits with patience; `before` and `text` are what came of the reply so far.
  char ReceiveByte(const std::string& before, const std::string& text = "");

  /// Waits only so long. Returns whether a byte came.
  bool TryByte(char& byte, std::chrono::milliseconds wait);

  /// From the sending of the last request to the last byte that came.
  std::chrono::milliseconds ReplyTime() const;

  /// Nothing more is expected.
  void EndReply() { line_.GetTranscript().EndLine(); }

 private:
  void Send(const std::string& bytes, const std::string& text, bool gnp);
  [[noreturn]] void GiveUp() const;

  Line& line_;
  const Address& address_;
  std::chrono::milliseconds patience_;
  std::chrono::steady_clock::time_point sentAt_;
  std::chrono::steady_clock::time_point heardAt_;
  std::string sent_;  // text of the last frame
  bool gnp_ = false;
  bool echoed_ = false;  // it came back
  std::string heard_;    // the first bytes that came since then or since the last frame
};
