// A file that tells how the agent misbehaves, and when.
#pragma once

#include <string>
#include <vector>

#include "objects.h"

class Script {
 public:
  Script() = default;

  /// Lines that Objects::Follow takes, and "wait SECONDS"; those that begin with # say nothing.
  /// Throws std::runtime_error, "FILE: line N: why".
  explicit Script(const std::string& file);

  /// Follows the lines whose time has come, and tells them. To be called once a second.
  void Tick(Objects& objects);

 private:
  struct Line {
    long second;
    std::string text;
  };
  std::vector<Line> lines_;
  std::size_t next_ = 0;
  long now_ = 0;
};
