#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "core/gateway.h"
#include "gnp/check_value.h"
#include "gnp/status_codes.h"
#include "registers/own_registers.h"
#include "serial/control_bytes.h"

namespace {

constexpr char kNoRegister[] = "999";

/// Writes the number with at least three digits and keeps the first three characters: a field of
/// the block is three characters wide whatever the agent says.
void WriteThreeDigits(char (&text)[4], std::int32_t number) {
  char digits[12];
  FormatText(digits, "%.3d", number);
  CopyText(text, digits);
}

int OperatingStatus(std::int32_t operatingMode) {
  constexpr int kLast = static_cast<int>(std::size(kOperatingStatusCodes)) - 1;
  const bool known = operatingMode >= 0 && operatingMode < kLast;
  return kOperatingStatusCodes[known ? operatingMode : kLast];
}

unsigned ErrorStatus(std::int32_t statusCondition) {
  unsigned byte = 0;
  for (unsigned bit = 0; bit < std::size(kErrorStatusMasks); ++bit) {
    if ((static_cast<std::uint32_t>(statusCondition) & kErrorStatusMasks[bit]) != 0) {
      byte |= 1U << bit;
    }
  }
  return byte;
}

}  // namespace

// DA is answered with the MD frame:
//
//   | STX | M D | 0 n | blank | n value blocks | ETX | check value, or CR | response end |
//     1     2     2     1       30 each          1     2               1    0 to 3 bytes
//
// The check value covers STX to ETX; CR stands in its place when the request had CR there.
int CGateway::HandleDA() {
  char registerNumbers[kPRCTextSize] = {};
  const int blocks = GetPRCNumber(registerNumbers);
  FormatText(replyBuffer, "%cMD%.2d ", kSTX, blocks == 0 ? 1 : blocks);
  std::size_t used = std::strlen(replyBuffer);
  if (blocks == 0) AppendDAValue(kNoRegister, used, true, 0);
  const char* next = registerNumbers;
  for (int block = 0; block < blocks; ++block, next += 3) {
    char registerNumber[4];
    CopyText(registerNumber, next);
    AppendDAValue(registerNumber, used, false, block);
  }
  constexpr char kEnd[] = {kETX, 0};
  AppendText(replyBuffer, used, kEnd);

  const std::size_t requested = strnlen(receiveBuffer, sizeof receiveBuffer);
  char checkValue[3] = {kCR};
  if (receiveBuffer[requested - 2] != kCR) {
    WriteCheckValue(replyBuffer, static_cast<int>(used), checkValue);
  }
  AppendText(replyBuffer, used, checkValue);
  AppendResponseEnd(used);

  if (WriteBuffer(portDescriptor, replyBuffer) != 0) {
    std::perror("Error: write buffer to serial port failed\n");
    return -1;
  }
  return 0;
}

// A value block:
//
//   | component | value    | operating | error | location | register |
//     3       _   8      _   2       _   2   _   3      _   3         and four blanks
void CGateway::AppendDAValue(const char* registerNumber, std::size_t& used, bool noRegister,
                             int block) {
  char component[4] = "000";
  if (ReadInteger(kInstrumentID)) {
    const std::int32_t excess = value.intValue > 999 - block ? 1000 : 0;
    WriteThreeDigits(component, value.intValue - excess + block);
  } else {
    std::perror("Unable to get Instrument ID.");
    noRegister = true;
  }
  char number[9] = "+0000+00";
  if (!noRegister) ReadDANumber(registerNumber, number);

  unsigned operating = 0x10;
  if (ReadInteger(kOperatingMode)) {
    operatingStatus = OperatingStatus(value.intValue);
    operating = static_cast<unsigned>(operatingStatus);
  } else {
    std::perror("Error: Could not get the register value.\n");
  }
  unsigned error = 0;
  if (ReadInteger(kStatusCondition)) {
    error = ErrorStatus(value.intValue);
  } else {
    std::perror("Unable to get status code.");
  }
  char location[4] = "001";
  if (ReadInteger(kLocationID)) {
    WriteThreeDigits(location, value.intValue);
  } else {
    std::perror("Unable to get location id.");
  }
  char text[31];
  FormatText(text, "%s %s %.2X %.2X %s %s    ", component, number, operating, error, location,
             noRegister ? kNoRegister : registerNumber);
  AppendText(replyBuffer, used, text);
}

void CGateway::ReadDANumber(const char* registerNumber, char* number) {
  char key[4];
  FormatText(key, "%ld", std::strtol(registerNumber, nullptr, 10));
  const char* name = FindRegister(registers, key);
  if (name == nullptr) return;
  if (!ReadRegister(name)) {
    std::perror("Error: Could not get the register value with this PRC.\n");
    return;
  }
  float real = NAN;
  if (value.type == 'i') real = static_cast<float>(value.intValue);
  if (value.type == 'F') real = value.floatValue;
  if (value.type == 'D') real = static_cast<float>(value.doubleValue);
  // What is no number, or none that the frame has a form for, is refused like a type without one.
  if (!std::isfinite(real)) {
    std::perror("Error: Not support this data type.\n");
    return;
  }
  FormatMantissaExponent(real, number);
}

void CGateway::AppendResponseEnd(std::size_t& used) {
  if (!ReadInteger(kResponseEnd)) {
    std::perror("Error: Could not get the register value.\n");
    return;
  }
  char groups[12];
  FormatText(groups, "%.9d", value.intValue);
  for (int i = 0; i < 9; i += 3) {
    char group[4];
    CopyText(group, groups + i);
    const long byte = std::strtol(group, nullptr, 10);
    if (byte < 1 || byte > 255) continue;
    const char text[] = {static_cast<char>(byte), 0};
    AppendText(replyBuffer, used, text);
  }
}
