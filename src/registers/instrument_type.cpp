#include <cstdio>
#include <cstring>

#include "core/gateway.h"
#include "registers/own_registers.h"
#include "registers/type_prefix.h"

int CGateway::GetInstrumentType() {
  if (ReadText(kInstrumentType)) {
    for (const TypePrefix& prefix : kTypePrefixes) {
      if (std::strncmp(value.strValue, prefix.text, std::strlen(prefix.text)) == 0) {
        return prefix.instrumentType;
      }
    }
  }
  std::perror("Error: Could not get the register value with this PRC.\n");
  return -1;
}
