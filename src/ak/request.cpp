#include <cstdio>
#include <cstring>

#include "core/gateway.h"
#include "registers/own_registers.h"

// An AK request, by index:
//
//   | 0       | 1 2 3 4       | 5     | 6 7     | 8 ...
//   | station | function code | blank | channel | arguments
//
// SF requests carry a two-character code of their own behind the letters "SF".
void CGateway::HandleAKRequest() {
  if (ReceiveAKFrame(receiveBuffer) != 0) {
    std::perror("Error: command is too long.\n");
    return;
  }
  if (!ReadInteger(kAKStationCode)) {
    std::perror("Unable to get station number.");
    return;
  }
  char station[12];
  FormatText(station, "%d", value.intValue);
  stationCharacter[0] = station[0];
  if (!ReadText(kAKChannelNumber)) {
    std::perror("Unable to get channel number.");
    return;
  }
  CopyText(channelText, value.strValue);
  if (!ReadInteger(kStatusCondition)) {
    std::perror("Unable to get status code.");
    return;
  }
  statusCondition = value.intValue;

  if (receiveBuffer[0] == stationCharacter[0]) {
    if (std::memcmp(receiveBuffer + 6, channelText, 2) == 0) {
      DispatchAKRequest();
    } else {
      Refuse("????");
    }
  }
  FinishRequest();
}

void CGateway::DispatchAKRequest() {
  struct FunctionCode {
    const char* code;  // every request that begins with these letters
    int (*handle)(CGateway& gateway);
  };
  static constexpr FunctionCode kFunctionCodes[] = {
      {"AREG", [](CGateway& gateway) { return gateway.HandleAREG(); }},
      {"EREG", [](CGateway& gateway) { return gateway.HandleEREG(); }},
      {"SF", [](CGateway& gateway) { return gateway.HandleSF(); }},
      {"ASTO", [](CGateway& gateway) { return gateway.HandleASTO(); }},
      {"SSTO", [](CGateway& gateway) { return gateway.HandleSSTO(); }},
      {"LPRC",
       [](CGateway& gateway) { return gateway.HandleLPRC(gateway.registers, kRegisterListPath); }},
      {"LCFG", [](CGateway& gateway) { return gateway.HandleLCFG(); }},
      {"LDHD", [](CGateway& gateway) { return gateway.HandleLDHD(); }},
  };
  for (const FunctionCode& function : kFunctionCodes) {
    if (std::strncmp(receiveBuffer + 1, function.code, std::strlen(function.code)) == 0) {
      function.handle(*this);
      return;
    }
  }
  Refuse("????");
}
