// How a command of the console can end, and what it throws when it fails.
#pragma once

#include <stdexcept>
#include <string>

/// Exit statuses of the console.
enum Status {
  kDone = 0,
  kUsage = 1,         ///< wrong words on the command line, or a file that cannot be used
  kNoDevice = 2,      ///< the serial device cannot be opened
  kNoReply = 3,       ///< nothing came back in time
  kRefused = 4,       ///< the gateway refused: SE, ????, "Unknown command."
  kNotWhole = 4,      ///< a file does not hold what the instrument holds
  kBroken = 5,        ///< what came back is no whole reply
  kInterrupted = 128  ///< plus the number of the signal
};

struct Failure : std::runtime_error {
  Failure(int why, const std::string& message) : std::runtime_error(message), status(why) {}
  int status;
};

/// Whether a request or its reply may have been lost on the line.
inline bool IsLoss(const Failure& failure) {
  return failure.status == kNoReply || failure.status == kBroken;
}
