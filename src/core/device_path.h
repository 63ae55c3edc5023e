// The one argument of the daemon.
#pragma once

#include "base/text.h"

/// Copies the first command-line argument into `path`. Returns 0, or -1 when there is none or when
/// it does not fit.
template <std::size_t N>
int GetDevicePath(int argc, char* argv[], char (&path)[N]) {
  return argc > 1 && CopyText(path, argv[1]) ? 0 : -1;
}
