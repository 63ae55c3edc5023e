#include "bare.h"

#include <cstring>
#include <stdexcept>

BareSession::BareSession() {
  set_persistent_directory("/dev/null");
  init_snmp("snmpapp");
  netsnmp_session session;
  snmp_sess_init(&session);
  std::string peer = "localhost";
  std::string community = "pelmar";
  session.peername = peer.data();
  session.version = SNMP_VERSION_1;
  session.community = reinterpret_cast<unsigned char*>(community.data());
  session.community_len = community.size();
  handle_ = snmp_open(&session);
  if (handle_ == nullptr) throw std::runtime_error("no SNMP session");
}

BareSession::~BareSession() { snmp_close(handle_); }

netsnmp_pdu* BareSession::Ask(int command, const oid* name, std::size_t length) {
  netsnmp_pdu* request = snmp_pdu_create(command);
  snmp_add_null_var(request, name, length);
  netsnmp_pdu* answer = nullptr;
  if (snmp_synch_response(handle_, request, &answer) != STAT_SUCCESS) {
    throw std::runtime_error("the agent does not answer");
  }
  return answer;
}

void BareSession::Get(const std::vector<std::string>& names) {
  for (const std::string& object : names) {
    oid name[MAX_OID_LEN];
    std::size_t length = MAX_OID_LEN;
    if (get_node(object.c_str(), name, &length) == 0) throw std::runtime_error("no " + object);
    snmp_free_pdu(Ask(SNMP_MSG_GET, name, length));
  }
}

std::string BareSession::Print(const std::string& object) {
  oid name[MAX_OID_LEN];
  std::size_t length = MAX_OID_LEN;
  if (get_node(object.c_str(), name, &length) == 0) throw std::runtime_error("no " + object);
  netsnmp_pdu* answer = Ask(SNMP_MSG_GET, name, length);
  char text[512];
  snprint_value(text, sizeof text, name, length, answer->variables);
  snmp_free_pdu(answer);
  return text;
}

int BareSession::Walk(const std::string& subtree) {
  oid root[MAX_OID_LEN];
  std::size_t rootLength = MAX_OID_LEN;
  if (snmp_parse_oid(subtree.c_str(), root, &rootLength) == nullptr) {
    throw std::runtime_error("no " + subtree);
  }
  oid name[MAX_OID_LEN];
  std::size_t length = rootLength;
  std::memcpy(name, root, sizeof root);
  for (int count = 0;; ++count) {
    netsnmp_pdu* answer = Ask(SNMP_MSG_GETNEXT, name, length);
    const netsnmp_variable_list* binding = answer->variables;
    const bool inside = answer->errstat == SNMP_ERR_NOERROR && binding != nullptr &&
                        binding->name_length >= rootLength &&
                        std::memcmp(binding->name, root, rootLength * sizeof(oid)) == 0;
    if (inside) {
      length = binding->name_length;
      std::memcpy(name, binding->name, length * sizeof(oid));
    }
    snmp_free_pdu(answer);
    if (!inside) return count;
  }
}
