// The answer to a request, and what every reader of one needs.
#pragma once

#include <net-snmp/net-snmp-config.h>
// The library's main header asks for its configuration first.
#include <net-snmp/net-snmp-includes.h>

#include <cstdint>
#include <cstring>
#include <memory>

#include "snmp/snmp_value.h"

struct ReleasePDU {
  void operator()(netsnmp_pdu* pdu) const { snmp_free_pdu(pdu); }
};

/// Owns an answer and releases it on every path.
using Response = std::unique_ptr<netsnmp_pdu, ReleasePDU>;

/// The library's text for the error status of the answer.
inline const char* Reason(const Response& response) {
  return snmp_errstring(static_cast<int>(response->errstat));
}

/// The low 32 bits of an integer value. The library keeps 32-bit integers in a long, an IpAddress
/// as its four bytes.
inline std::int32_t Integer32(const netsnmp_variable_list& binding) {
  if (binding.val_len >= sizeof(long)) return static_cast<std::int32_t>(*binding.val.integer);
  std::int32_t value = 0;
  if (binding.val_len == sizeof value) std::memcpy(&value, binding.val.string, sizeof value);
  return value;
}

/// Stores the value by its type, and its type code. Returns false when it does not fit the record,
/// which is then as before.
bool StoreValue(netsnmp_variable_list& binding, SNMPValue& value);
