#include <cstdio>

#include "core/device_path.h"
#include "core/gateway.h"

int main(int argc, char* argv[]) {
  // A journal or a pipe would otherwise see the start-up messages only when the process ends.
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  if (GetDevicePath(argc, argv, g_devicePath) != 0) return -1;
  try {
    CGateway gateway;
    gateway.Run();
  } catch (...) {
    // Without a handler the gateway might not be destroyed, and the line and the session not
    // closed.
    throw;
  }
}
