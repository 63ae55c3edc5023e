// Recordings of the line (docs/recording.md), read back as frames.
#pragma once

#include <istream>
#include <string>
#include <vector>

#include "logger/frames.h"

struct Passed {
  std::string time;  ///< "2026-11-23 06:20:11", local, when its last bytes began to pass
  bool toGateway;
  Frame frame;  ///< whole, or what there is of it
};

/// All that passed from the first whole request on, each byte once. A request that breaks off at
/// the end is left out. Throws std::runtime_error, "line N: why".
std::vector<Passed> ReadRecording(std::istream& text);
