#include "value.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <stdexcept>

namespace {

template <typename Type>
Type Read(const Value& value) {
  Type number{};
  std::memcpy(&number, value.bytes.data(), std::min(sizeof number, value.bytes.size()));
  return number;
}

template <typename Type>
void Write(Value& value, Type number) {
  value.bytes.assign(reinterpret_cast<const char*>(&number), sizeof number);
}

}  // namespace

Identifier Resolve(const std::string& name) {
  oid identifier[MAX_OID_LEN];
  std::size_t length = MAX_OID_LEN;
  if (get_node(name.c_str(), identifier, &length) == 0) {
    length = MAX_OID_LEN;
    if (read_objid(name.c_str(), identifier, &length) == 0) {
      throw std::runtime_error("the MIB modules do not define " + name);
    }
  }
  return {identifier, identifier + length};
}

bool IsReadOnly(const Identifier& object) {
  const tree* node = get_tree(object.data(), object.size(), get_tree_head());
  return node != nullptr && node->access == MIB_ACCESS_READONLY;
}

Value Encode(char type, const std::string& text) {
  const oid name[] = {1, 3};
  netsnmp_pdu* pdu = snmp_pdu_create(SNMP_MSG_SET);
  const bool made = snmp_add_var(pdu, name, 2, type, text.c_str()) == 0;
  const Value value = made ? Copy(*pdu->variables) : Value{};
  snmp_free_pdu(pdu);
  if (!made) throw std::runtime_error("no value of type " + std::string(1, type) + ": " + text);
  return value;
}

Value Copy(const netsnmp_variable_list& binding) {
  Value value{binding.type, {}};
  if (binding.val_len > 0) {
    value.bytes.assign(reinterpret_cast<const char*>(binding.val.string), binding.val_len);
  }
  return value;
}

double Number(const Value& value) {
  switch (value.type) {
    case ASN_INTEGER:
      return static_cast<double>(static_cast<std::int32_t>(Read<long>(value)));
    case ASN_GAUGE:
    case ASN_COUNTER:
    case ASN_TIMETICKS:
      return static_cast<double>(static_cast<std::uint32_t>(Read<long>(value)));
    case ASN_OPAQUE_FLOAT:
      return static_cast<double>(Read<float>(value));
    case ASN_OPAQUE_DOUBLE:
      return Read<double>(value);
    default:
      return 0;
  }
}

void SetNumber(Value& value, double number) {
  if (value.type == ASN_OPAQUE_DOUBLE) {
    Write(value, number);
  } else if (value.type == ASN_OPAQUE_FLOAT) {
    Write(value, static_cast<float>(number));
  } else if (value.type == ASN_INTEGER) {
    Write(value, std::lround(number));
  } else {
    Write(value, static_cast<long>(std::llround(number)));
  }
}
