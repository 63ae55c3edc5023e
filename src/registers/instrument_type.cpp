#include <cstdio>
#include <cstring>

#include "core/gateway.h"

namespace {

struct TypePrefix {
  const char* text;
  int instrumentType;
};

// The longer of two prefixes comes first; the TUL variants share the number of the plain types.
constexpr TypePrefix kTypePrefixes[] = {
    {"TwinexVARO", 1},
    {"Twinex", 2},
    {"MonardVARO", 4},
    {"Monard", 5},
};

}  // namespace

int CGateway::GetInstrumentType() {
  if (ReadText("qmxInstrumentType.0")) {
    for (const TypePrefix& prefix : kTypePrefixes) {
      if (std::strncmp(value.strValue, prefix.text, std::strlen(prefix.text)) == 0) {
        return prefix.instrumentType;
      }
    }
  }
  std::perror("Error: Could not get the register value with this PRC.\n");
  return -1;
}
