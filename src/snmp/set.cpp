#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "base/text.h"
#include "snmp/snmp.h"

namespace {

/// Resolves the object name; `length` is the room in and the length out. On failure reports with
/// the caller's text and returns false.
bool ResolveName(const char* name, const char* caller, oid* identifier, std::size_t& length) {
  char object[256];
  if (CopyText(object, name) && snmp_parse_oid(object, identifier, &length) != nullptr) return true;
  snmp_perror(caller);
  return false;
}

/// A SET request for one object; null, with a message, when the name does not resolve.
netsnmp_pdu* NewSet(const char* name, const char* caller, unsigned char type, const void* value,
                    std::size_t size) {
  oid identifier[MAX_OID_LEN];
  std::size_t length = MAX_OID_LEN;
  if (!ResolveName(name, caller, identifier, length)) return nullptr;
  netsnmp_pdu* request = snmp_pdu_create(SNMP_MSG_SET);
  netsnmp_variable_list* binding = snmp_add_null_var(request, identifier, length);
  snmp_set_var_typed_value(binding, type, value, size);
  return request;
}

/// The binding that the agent answered with; null, with a message, when there is none.
const netsnmp_variable_list* Answered(const Response& response, const char* name) {
  if (response->variables == nullptr) {
    std::fprintf(stderr, "CSNMP: set of %s answered without a value\n", name);
  }
  return response->variables;
}

/// Whether the sub-identifiers, parsed with errno at 0 before, have the 32 bits of an agent's. The
/// library sends the low bits of a larger one; where it keeps only 32, its parser leaves ERANGE.
bool CanBeSent(const netsnmp_variable_list& binding) {
  const oid* parts = binding.val.objid;
  return errno != ERANGE && std::all_of(parts, parts + binding.val_len / sizeof(oid),
                                        [](oid part) { return part <= 0xFFFFFFFF; });
}

bool IsIntegerType(unsigned char type) {
  return type == ASN_INTEGER || type == ASN_IPADDRESS || type == ASN_COUNTER ||
         type == ASN_UNSIGNED || type == ASN_TIMETICKS;
}

unsigned long Unsigned(std::int32_t value) { return static_cast<std::uint32_t>(value); }

}  // namespace

int CSNMP::SetInteger(const char* name, std::int32_t value) {
  netsnmp_pdu* request = NewSet(name, "CSNMP::SetInteger()", ASN_INTEGER, &value, sizeof value);
  if (request == nullptr) return 1;
  Response response;
  if (Exchange(request, response) != STAT_SUCCESS) {
    snmp_sess_perror("snmpset", handle);
    return 1;
  }
  if (response->errstat != SNMP_ERR_NOERROR) {
    std::fprintf(stderr, "CSNMP::SetInteger(%s,%li):Error in packet\nReason: %s\n", name,
                 static_cast<long>(value), Reason(response));
    return 1;
  }
  const netsnmp_variable_list* binding = Answered(response, name);
  if (binding == nullptr) return 1;
  if (!IsIntegerType(binding->type)) {
    std::fprintf(stderr, "CSNMP::SetInteger(%s): wrong type returned %s\n", name,
                 TypeName(binding->type));
    return 1;
  }
  const std::int32_t returned = Integer32(*binding);
  if (returned != value) {
    std::fprintf(stderr, "CSNMP::SetInteger(%s,%lu) set mismatch %lu\n", name, Unsigned(value),
                 Unsigned(returned));
    return 1;
  }
  return 0;
}

int CSNMP::SetString(const char* name, const char* value) {
  netsnmp_pdu* request =
      NewSet(name, "CSNMP::SetString()", ASN_OCTET_STR, value, std::strlen(value));
  if (request == nullptr) return 1;
  Response response;
  if (Exchange(request, response) != STAT_SUCCESS) {
    snmp_sess_perror("CSNMP::SetString():snmpset", handle);
    return 1;
  }
  if (response->errstat != SNMP_ERR_NOERROR) {
    std::fprintf(stderr, "CSNMP::SetString(%s,%s): Error in packet\nReason: %s\n", name, value,
                 Reason(response));
    return 1;
  }
  return 0;
}

struct CSNMP::RealSet {
  unsigned char type;
  const char* caller;
  const char* prefix;
  const char* refused;
  const char* wrongType;
  const char* mismatch;
};

template <typename Real>
int CSNMP::SetReal(const char* name, Real value, const RealSet& set) {
  if (!std::isfinite(value)) value = 0;
  netsnmp_pdu* request = NewSet(name, set.caller, set.type, &value, sizeof value);
  if (request == nullptr) return 1;
  Response response;
  if (Exchange(request, response) != STAT_SUCCESS) {
    snmp_sess_perror(set.prefix, handle);
    return 1;
  }
  if (response->errstat != SNMP_ERR_NOERROR) {
    std::fprintf(stderr, set.refused, name, static_cast<double>(value), Reason(response));
    return 1;
  }
  const netsnmp_variable_list* binding = Answered(response, name);
  if (binding == nullptr) return 1;
  if (binding->type != set.type) {
    std::fprintf(stderr, set.wrongType, name, TypeName(binding->type));
    return 1;
  }
  Real returned = 0;
  std::memcpy(&returned, binding->val.string, sizeof returned);
  // A NaN differs from every value, which is what is wanted of it here.
  if (returned != value) {
    std::fprintf(stderr, set.mismatch, name, static_cast<double>(value),
                 static_cast<double>(returned));
    return 1;
  }
  return 0;
}

int CSNMP::SetFloat(const char* name, float value) {
  static constexpr RealSet kFloat = {ASN_OPAQUE_FLOAT,
                                     "CSNMP::SetFloat()",
                                     "CSNMP::SetFloat():snmpset",
                                     "CSNMP::SetFloat(%s,%f):Error in packet\nReason: %s\n",
                                     "CSNMP::SetFloat(%s): wrong type returned %s.\n",
                                     "CSNMP::SetFloat(%s,%f) set returned %f\n"};
  return SetReal(name, value, kFloat);
}

int CSNMP::SetDouble(const char* name, double value) {
  static constexpr RealSet kDouble = {ASN_OPAQUE_DOUBLE,
                                      "CSNMP::SetDouble()",
                                      "CSNMP::SetDouble():snmpset",
                                      "CSNMP::SetDouble(%s,%f):Error in packet\nReason: %s\n",
                                      "CSNMP::SetDouble(%s): wrong type returned %s\n",
                                      "CSNMP::SetDouble(%s,%f) set mismatch %f\n"};
  return SetReal(name, value, kDouble);
}

int CSNMP::SetObjectID(const char* name, const char* value) {
  constexpr char kCaller[] = "CSNMP::SetObjectID()";
  oid identifier[MAX_OID_LEN];
  std::size_t length = MAX_OID_LEN;
  if (!ResolveName(name, kCaller, identifier, length)) return 1;
  netsnmp_pdu* request = snmp_pdu_create(SNMP_MSG_SET);
  errno = 0;
  bool sendable = snmp_add_var(request, identifier, length, 'o', value) == 0;
  if (sendable && !CanBeSent(*request->variables)) {
    snmp_errno = SNMPERR_MAX_SUBID;
    sendable = false;
  }
  if (!sendable) {
    snmp_perror(kCaller);
    snmp_free_pdu(request);
    return 1;
  }
  Response response;
  if (Exchange(request, response) != STAT_SUCCESS) {
    snmp_sess_perror("CSNMP::SetObjectID():snmpset", handle);
    return 1;
  }
  if (response->errstat != SNMP_ERR_NOERROR) {
    std::fprintf(stderr, "CSNMP::SetObjectID(%s):Error in packet\nReason: %s\n", name,
                 Reason(response));
    return 1;
  }
  const netsnmp_variable_list* binding = Answered(response, name);
  if (binding == nullptr) return 1;
  if (binding->type != ASN_OBJECT_ID) {
    std::fprintf(stderr, "CSNMP::SetObjectID(%s,%s): return type mismatch %s.\n", name, value,
                 TypeName(binding->type));
    return 1;
  }
  return 0;
}
