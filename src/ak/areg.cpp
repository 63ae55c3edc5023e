#include <cstdio>

#include "base/number.h"
#include "core/gateway.h"

// AREG reads one register.
//   request  "AREG K0 12"
//   reply    "%cAREG %d %d %s"  station, status condition, register number, value
//   error    "%cAREG %d SE"
int CGateway::HandleAREG() {
  if (!HasArguments()) return Refuse("AREG");
  if (ReadNumber(Arguments(), requestedPRCNumber) == Number::kTooLarge) return Refuse("AREG");
  char key[10];
  if (!FormatText(key, "%d", requestedPRCNumber)) return Refuse("AREG");
  const char* name = FindRegister(registers, key);
  if (name == nullptr) return Refuse("AREG");
  if (!ReadRegister(name)) {
    std::perror("Error: Could not get the register value with this PRC.\n");
    return Refuse("AREG");
  }

  char number[320];  // room for every double
  const char* text = number;
  switch (value.type) {
    case 'i':
      FormatText(number, "%d", value.intValue);
      break;
    case 'F':
      FormatText(number, "%f", static_cast<double>(value.floatValue));
      break;
    case 'D':
      FormatText(number, "%f", value.doubleValue);
      break;
    case 'o':
      text = value.oidText;
      break;
    default:
      text = value.strValue;
  }
  const bool whole = text != value.oidText || *text != 0;
  if (!whole || Reply("AREG", " %d %s", requestedPRCNumber, text) != 0) {
    std::perror("Error: The register value is too long for a reply.\n");
    return Refuse("AREG");
  }
  return 0;
}
