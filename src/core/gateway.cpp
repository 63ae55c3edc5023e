#include "core/gateway.h"

#include <unistd.h>

#include <cstring>

char g_devicePath[kDevicePathSize];

CGateway::CGateway()
    : receiveBuffer{},
      replyBuffer{},
      stationCharacter{"4"},
      channelText{"K0"},
      statusCondition(0),
      value{},
      requestedPRCNumber(0),
      sfCode{"00"},
      databasePointer{},
      setTime{},
      tableName{},
      database{},
      requestedRecords(0),
      returnedRows(0),
      currentMode(0),
      operatingStatus(2) {
  CopyText(tableName, kDataTable);
  CopyText(devicePath, g_devicePath);
  Open();
  BuildRegisterList(registers);
  sleep(2);
}

CGateway::~CGateway() { Close(); }

void CGateway::FinishRequest() {
  std::memset(receiveBuffer, 0, sizeof receiveBuffer);
  std::memset(replyBuffer, 0, sizeof replyBuffer);
  requestedPRCNumber = 0;
  usleep(50000);
}
