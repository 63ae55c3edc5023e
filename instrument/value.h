// SNMP objects by name, and their values as the library keeps them.
#pragma once

#include <net-snmp/net-snmp-config.h>
// The library's main header asks for its configuration first.
#include <net-snmp/net-snmp-includes.h>

#include <string>
#include <vector>

using Identifier = std::vector<oid>;

struct Value {
  unsigned char type = ASN_NULL;  ///< such as ASN_INTEGER or ASN_OPAQUE_FLOAT
  std::string bytes;              ///< as the library keeps a value of this type
  bool operator==(const Value& other) const { return type == other.type && bytes == other.bytes; }
};

/// An object by its name or number, such as qmxFlowRate.0 or .1.3.6.1.4.1.32473.2.1.4.0. Throws
/// std::runtime_error for one that no MIB module defines.
Identifier Resolve(const std::string& name);

/// Whether the MIB modules call the object read-only.
bool IsReadOnly(const Identifier& object);

/// A value from the type letter and the text that snmpset(1) takes: i, u, s, x, o, F, D, c, C, t,
/// a, I, U or n. Throws std::runtime_error.
Value Encode(char type, const std::string& text);

/// What the library read from a packet.
Value Copy(const netsnmp_variable_list& binding);

/// The value as a number, 0 where it is none; and another number of the same type.
double Number(const Value& value);
void SetNumber(Value& value, double number);
