#include <cstdio>
#include <cstring>

#include "base/text.h"
#include "snmp/snmp.h"

bool StoreValue(netsnmp_variable_list& binding, SNMPValue& value) {
  switch (binding.type) {
    case ASN_INTEGER:
    case ASN_UNSIGNED:
      value.intValue = Integer32(binding);
      value.type = 'i';
      break;
    case ASN_OPAQUE_FLOAT:
      value.floatValue = *binding.val.floatVal;
      value.type = 'F';
      break;
    case ASN_OPAQUE_DOUBLE:
      value.doubleValue = *binding.val.doubleVal;
      value.type = 'D';
      break;
    case ASN_OBJECT_ID: {
      char text[sizeof value.oidText];
      const int length =
          snprint_value(text, sizeof text, binding.name, binding.name_length, &binding);
      CopyText(value.oidText, length < 0 ? "" : text);
      value.type = 'o';
      break;
    }
    default:
      if (binding.val_len >= sizeof value.strValue) return false;
      if (binding.val_len > 0) {
        std::strncpy(value.strValue, reinterpret_cast<const char*>(binding.val.string),
                     binding.val_len);
      }
      value.strValue[binding.val_len] = 0;
      value.type = 's';
  }
  value.typeCode = binding.type;
  return true;
}

int CSNMP::Get(const char* name, SNMPValue& value) {
  char object[256];
  oid identifier[MAX_OID_LEN];
  std::size_t length = MAX_OID_LEN;
  if (!CopyText(object, name) || get_node(object, identifier, &length) == 0) {
    std::fprintf(stderr, "Unknown object name (%s)\n", object);
    return -1;
  }
  netsnmp_pdu* request = snmp_pdu_create(SNMP_MSG_GET);
  snmp_add_null_var(request, identifier, length);
  Response response;
  if (Exchange(request, response) != STAT_SUCCESS) {
    snmp_sess_perror("snmpget", handle);
    return -1;
  }
  if (response->errstat != SNMP_ERR_NOERROR) {
    std::fprintf(stderr, "Error in packet (%s)\nReason: %s\n", object, Reason(response));
    return -1;
  }
  if (response->variables == nullptr) {
    std::fprintf(stderr, "Error in packet (%s)\nReason: no value\n", object);
    return -1;
  }
  if (!StoreValue(*response->variables, value)) {
    std::fprintf(stderr, "Error in packet (%s)\nReason: value too long\n", object);
    return -1;
  }
  CopyText(value.name, object);
  return 0;
}
