// A serial line between two pseudo-terminals that carries no more bytes than 9600 baud do.
#pragma once

#include <atomic>
#include <thread>

#include "lab.h"

constexpr double kSecondsPerByte = 11.0 / 9600;

class PacedLine {
 public:
  /// The other end is the master of this line.
  explicit PacedLine(Line& other);
  ~PacedLine();
  PacedLine(const PacedLine&) = delete;
  PacedLine& operator=(const PacedLine&) = delete;

  /// The end that a console opens.
  const std::string& Device() const { return line_.Device(); }

 private:
  Line line_;
  std::atomic<bool> stop_{false};
  std::thread there_;
  std::thread back_;
};
