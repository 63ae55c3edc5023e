#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "base/number.h"
#include "core/gateway.h"

namespace {

/// The new text behind the register number and the one blank that ends it; null when there is none.
const char* NewText(const char* arguments) {
  const char* number = arguments + std::strspn(arguments, " ");
  const char* end = number + std::strcspn(number, " ");
  return end[0] == ' ' && end[1] != 0 ? end + 1 : nullptr;
}

/// Reads a real number with "%f" or "%lf". Returns false when there is none or when it is too large
/// for its type.
template <typename Real>
bool ReadReal(const char* text, const char* format, Real& real) {
  errno = 0;
  const int read = std::sscanf(text, format, &real);
  return read == 1 && !(errno == ERANGE && std::isinf(real));
}

}  // namespace

// EREG writes one register, with the type that the register has.
//   request  "EREG K0 12 VALUE"
//   reply    "%cEREG %d %d"  station, status condition, register number
//   error    "%cEREG %d SE"
int CGateway::HandleEREG() {
  if (!HasArguments()) return Refuse("EREG");
  const char* behindNumber = nullptr;
  const Number read = ReadNumber(Arguments(), requestedPRCNumber, &behindNumber);
  char key[10];
  const char* name = nullptr;
  if (read != Number::kTooLarge && FormatText(key, "%d", requestedPRCNumber)) {
    name = FindRegister(registers, key);
  }
  if (name == nullptr) {
    std::perror("Error: No register with this PRC.\n");
    return Refuse("EREG");
  }
  if (!ReadRegister(name)) {
    std::perror("Error: Could not get the register value with this PRC.\n");
    return Refuse("EREG");
  }

  int failed = 0;
  switch (value.type) {
    case 'i': {
      std::int32_t integer = 0;
      if (ReadNumber(behindNumber, integer) != Number::kRead) return Refuse("EREG");
      failed = snmp.SetInteger(value.name, integer);
      break;
    }
    case 'F': {
      float real = 0;
      if (!ReadReal(behindNumber, "%f", real)) return Refuse("EREG");
      failed = snmp.SetFloat(value.name, real);
      break;
    }
    case 'D': {
      double real = 0;
      if (!ReadReal(behindNumber, "%lf", real)) return Refuse("EREG");
      failed = snmp.SetDouble(value.name, real);
      break;
    }
    default: {
      char text[256];
      const char* newText = NewText(Arguments());
      if (newText == nullptr || !CopyText(text, newText)) return Refuse("EREG");
      failed =
          value.type == 'o' ? snmp.SetObjectID(value.name, text) : snmp.SetString(value.name, text);
    }
  }
  if (failed != 0) {
    std::perror("Error: Could not set the register value.\n");
    return Refuse("EREG");
  }
  return Reply("EREG", " %d", requestedPRCNumber);
}
