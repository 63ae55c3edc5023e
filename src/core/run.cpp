#include <syslog.h>
#include <unistd.h>

#include <cstdio>

#include "core/gateway.h"
#include "registers/own_registers.h"

void CGateway::Run() {
  openlog("Test", LOG_PID | LOG_CONS, LOG_USER);
  ConnectDatabase();
  while (true) {
    if (!ReadInteger(kRS232Mode)) {
      std::perror("Unable to get rs232 mode.");
      sleep(1);
      continue;
    }
    currentMode = value.intValue;
    if (currentMode == 0) {
      HandleAKRequest();
    } else if (currentMode == 1) {
      HandleGNPRequest();
    }
  }
}
