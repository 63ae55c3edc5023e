#include <cstdio>

#include "core/gateway.h"
#include "registers/own_registers.h"

int CGateway::GetPRCNumber(char* text) {
  if (text == nullptr) {
    std::perror("input variable error.");
    return 0;
  }
  if (!ReadInteger(kPRCNumber)) {
    std::perror("Unable to get prc number.");
    return 0;
  }
  const int width = value.intValue <= 999 ? 1 : value.intValue <= 999999 ? 2 : 3;
  char number[kPRCTextSize];
  FormatText(number, "%.*d", 3 * width, value.intValue);
  CopyText(text, sizeof number, number);
  return width;
}
