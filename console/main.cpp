// The other end of the line: asks the gateway as a data logger asks, and shows what came back.
#include <fcntl.h>
#include <unistd.h>

#include "command_line.h"

namespace {

/// The line would be opened in the place of a closed standard output, and be sent what is printed.
void KeepStandardStreams() {
  int opened = 0;
  while (opened >= 0 && opened <= 2) opened = open("/dev/null", O_RDONLY | O_CLOEXEC);
  close(opened);
}

}  // namespace

int main(int argc, char* argv[]) {
  KeepStandardStreams();
  return RunCommandLine(argc, argv, OpenLine);
}
