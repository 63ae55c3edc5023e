// A live view of some registers.
#pragma once

#include <string>
#include <vector>

struct Session;

struct WatchOptions {
  std::vector<std::string> registers;  ///< none on a GNP line, whose data reply has its own
  double every = 1;                    ///< seconds from one reading to the next
  long count = 0;                      ///< readings, 0 is until interrupted
  std::string csv;                     ///< a file that each reading is added to; empty is none
};

/// Shows value, minimum, maximum and the course of each register: a table that is drawn anew in a
/// terminal, plain lines elsewhere, objects with --json. Ends with the last reading, an interrupt
/// or the key q. Throws Failure.
void Watch(Session& session, const WatchOptions& options);
