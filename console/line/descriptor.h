// An open device or connection: bytes in and out with a deadline.
#pragma once

#include <chrono>
#include <string>

class Descriptor {
 public:
  explicit Descriptor(int number = -1) : number_(number) {}
  ~Descriptor() { Close(); }
  Descriptor& operator=(Descriptor&& other) noexcept;

  bool IsOpen() const { return number_ >= 0; }
  int Number() const { return number_; }
  void Close();

  /// Waits until it is ready for these events of poll(2). Returns the events that came, 0 when none
  /// came in time; an interrupt does not end the wait unless it is to abort the command.
  short Wait(short events, std::chrono::milliseconds wait) const;

  /// Writes all bytes. Returns 0, or the error.
  int Write(const std::string& bytes) const;

 private:
  int number_;
};
