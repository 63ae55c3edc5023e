#include "core/gateway.h"

bool CGateway::ReadRegister(const char* name) {
  return CopyText(value.name, name) && snmp.Get(value.name, value) == 0;
}

bool CGateway::ReadInteger(const char* name) { return ReadRegister(name) && value.IsInteger(); }

bool CGateway::ReadText(const char* name) { return ReadRegister(name) && value.IsText(); }
