#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ak/clock_command.h"
#include "core/gateway.h"
#include "registers/own_registers.h"

namespace {

constexpr char kSetFailed[] = "Error: Could not set the register value.\n";

struct ControlFunction {
  const char* code;
  int operatingMode;
};

constexpr int kNone = -1;  // the function does nothing but answer

constexpr ControlFunction kControlFunctions[] = {
    {"03", 1}, {"06", 5}, {"09", kNone}, {"17", kNone}, {"25", 0},
};

}  // namespace

// SF switches the operating mode (03, 06, 25), sets the clock (26), or does nothing (09, 17).
//   request  "SF03 K0"
//   reply    "%cSF%s %d"  station, code, status condition
//   error    "%cSF%s %d SE"
int CGateway::HandleSF() {
  const char* run = receiveBuffer + 3 + std::strspn(receiveBuffer + 3, " ");
  const std::size_t length = std::min<std::size_t>(std::strcspn(run, " "), 2);
  FormatText(sfCode, "%.*s", static_cast<int>(length), run);
  char code[5];
  FormatText(code, "SF%s", sfCode);

  const char* failure = nullptr;
  if (std::strcmp(sfCode, "26") == 0) {
    failure = SetClock();
  } else {
    const auto* function =
        std::find_if(std::begin(kControlFunctions), std::end(kControlFunctions),
                     [this](const ControlFunction& f) { return std::strcmp(f.code, sfCode) == 0; });
    if (function == std::end(kControlFunctions)) return Refuse(code);
    if (function->operatingMode != kNone &&
        snmp.SetInteger(kOperatingMode, function->operatingMode) != 0) {
      failure = kSetFailed;
    }
  }
  if (failure != nullptr) {
    std::perror(failure);
    return Refuse(code);
  }
  return Reply(code);
}

const char* CGateway::SetClock() {
  if (!ReadText(kAKSetTime)) return "Error: Could not get the register value.\n";
  const bool fits = CopyText(setTime, value.strValue);
  if (snmp.SetInteger(kOperatingMode, 5) != 0) return kSetFailed;
  char command[kClockCommandSize];
  // The command holds nothing but "date", digits and a point.
  if (!fits || !MakeClockCommand(setTime, command) ||
      std::system(command) != 0) {  // NOLINT(cert-env33-c): the shell finds date through PATH
    return "Error: Set Time failed.\n";
  }
  if (snmp.SetString(kCommand, "SETTIME") != 0) return kSetFailed;
  if (snmp.SetInteger(kOperatingMode, 1) != 0) return kSetFailed;
  return nullptr;
}
