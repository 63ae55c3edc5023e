// The data logger's end of the serial line.
#pragma once

#include <chrono>
#include <string>

class SerialLine {
 public:
  /// Opens the device with the settings of the gateway (9600 baud, 8N2, raw), for nobody else, and
  /// waits until nothing more of an earlier reply comes. Throws Failure(kNoDevice), which tells
  /// what to do about it, or Failure(kBroken) when the line does not fall silent.
  explicit SerialLine(const std::string& device);
  ~SerialLine();
  SerialLine(const SerialLine&) = delete;
  SerialLine& operator=(const SerialLine&) = delete;

  /// Discards what has come so far and sends the bytes.
  void Send(const std::string& bytes);

  /// Waits for one byte. Returns whether one came in time; an interrupt does not end the wait,
  /// unless it is to abort the command (interrupt.h).
  bool Receive(char& byte, std::chrono::milliseconds wait);

  /// With a trace every byte is shown on standard error, those sent behind ">", those received
  /// behind "<".
  void SetTrace(bool on) { trace_ = on; }

  /// Ends the traced line of what has been received so far.
  void EndTrace();

 private:
  void Discard(std::chrono::milliseconds quiet, std::chrono::milliseconds limit);

  int descriptor_ = -1;
  bool trace_ = false;
  std::string received_;  // bytes of the traced line
};
