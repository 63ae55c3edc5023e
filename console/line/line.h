// The data logger's end of the line, whatever carries its bytes.
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "line/transcript.h"

class Line {
 public:
  /// What passes is told to the transcript, which several lines may share.
  explicit Line(std::shared_ptr<Transcript> transcript = std::make_shared<Transcript>())
      : transcript_(std::move(transcript)) {}
  virtual ~Line() = default;
  Line(const Line&) = delete;
  Line& operator=(const Line&) = delete;

  /// Discards what has come so far and sends the bytes; the first time, and when the line was lost
  /// and is opened again, it waits before that until nothing more of an earlier reply comes. Throws
  /// Failure(kNoDevice), or Failure(kBroken) when the line does not fall silent.
  void Send(const std::string& bytes);

  /// Waits for one byte. Returns whether one came in time; an interrupt does not end the wait,
  /// unless it is to abort the command (interrupt.h). Throws Failure(kNoDevice).
  bool Receive(char& byte, std::chrono::milliseconds wait);

  /// The same without the transcript: whose bytes they are is to be found out first.
  bool Hear(char& byte, std::chrono::milliseconds wait) { return Read(byte, wait); }

  /// What to poll(2) for bytes to hear; -1 when there is nothing.
  virtual int ToPoll() const { return -1; }

  Transcript& GetTranscript() { return *transcript_; }

 protected:
  /// Opens what is not open; returns whether it did. Throws Failure(kNoDevice), which tells what to
  /// do about it.
  virtual bool Open() = 0;
  virtual void Write(const std::string& bytes) = 0;
  virtual bool Read(char& byte, std::chrono::milliseconds wait) = 0;

 private:
  void Discard(std::chrono::milliseconds quiet, std::chrono::milliseconds limit);

  std::shared_ptr<Transcript> transcript_;
  bool settled_ = false;  // nothing of an earlier reply is on its way
};

/// Opens a serial device, or the line behind a device server, "tcp://HOST:PORT". Throws
/// Failure(kNoDevice).
std::unique_ptr<Line> OpenLine(const std::string& name, std::shared_ptr<Transcript> transcript);
