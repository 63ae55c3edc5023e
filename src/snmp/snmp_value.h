// One value read from the instrument's agent.
#pragma once

#include <cstdint>

/// The record that CSNMP::Get fills. A successful get writes `name`, `type`, `typeCode` and the one
/// value field that belongs to the type; a failed one changes nothing.
struct SNMPValue {
  char name[260];          ///< object name with instance suffix, such as qmxRS232Mode.0
  char type;               ///< type of the last value read: 'i', 'F', 'D', 'o' or 's'
  float floatValue;        ///< 'F': Opaque float
  double doubleValue;      ///< 'D': Opaque double
  std::int32_t intValue;   ///< 'i': INTEGER or Gauge32 (above 2147483647 it reads negative)
  char oidText[256];       ///< 'o': OBJECT IDENTIFIER as the SNMP library prints a value; empty
                           ///< when that needs more than 255 characters
  char strValue[256];      ///< 's': bytes of any other value up to its first zero byte, terminated
  unsigned char typeCode;  ///< SNMP type code of the last value read, such as 0x04

  bool IsInteger() const { return type == 'i'; }

  /// Whether the value is an OCTET STRING: 's' also stands for types that are no text at all.
  bool IsText() const { return typeCode == 0x04; }
};
