#include <cstdio>
#include <cstring>

#include "core/gateway.h"
#include "gnp/check_value.h"
#include "registers/own_registers.h"
#include "serial/control_bytes.h"

// A GNP request, by index; in place of the check value it may carry CR, stored twice:
//
//   | 0   | 1 2     | 3   | 4 5         |         length 6
//   | STX | command | ETX | check value |
//
//   | 0   | 1 2     | 3 4 5         | 6   | 7 8         |    length 9
//   | STX | command | instrument id | ETX | check value |
void CGateway::HandleGNPRequest() {
  int length = 0;
  if (ReceiveGNPFrame(receiveBuffer, length) != 0) {
    std::perror("Error: command is too long.\n");
    return;
  }
  if (length == 9) {
    if (!ReadInteger(kInstrumentID)) {
      std::perror("Unable to get Instrument ID.");
      return;
    }
    char id[12];
    FormatText(id, "%.3d", value.intValue);
    if (std::memcmp(receiveBuffer + 3, id, 3) != 0) {
      std::perror("Error: incorrect instrument id.\n");
      return;
    }
  } else if (length != 6) {
    std::perror("Error: incorrect GNP command length.\n");
    return;
  }
  const int checked = length - 2;
  if (receiveBuffer[checked] != kCR) {
    char checkValue[3];
    WriteCheckValue(receiveBuffer, checked, checkValue);
    if (std::memcmp(receiveBuffer + checked, checkValue, 2) != 0) {
      std::perror("Error: incorrect CRC.\n");
      return;
    }
  }
  if (std::memcmp(receiveBuffer + 1, "DA", 2) == 0) {
    HandleDA();
  } else {
    CopyText(replyBuffer, "Unknown command.");
    SendFrame(replyBuffer);
  }
  FinishRequest();
}
