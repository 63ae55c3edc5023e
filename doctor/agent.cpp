#include "doctor/agent.h"

#include <chrono>
#include <cstring>

#include "snmp/agent.h"
#include "snmp/response.h"

namespace {

struct Identifier {
  oid parts[MAX_OID_LEN];
  std::size_t length = MAX_OID_LEN;
};

bool Resolve(const std::string& name, Identifier& identifier) {
  return get_node(name.c_str(), identifier.parts, &identifier.length) != 0;
}

int Note(int, int, void* message, void* complaints) {
  const auto* log = static_cast<const snmp_log_message*>(message);
  *static_cast<std::string*>(complaints) += log->msg;
  return 0;
}

}  // namespace

Agent::Agent() {
  snmp_disable_stderrlog();
  snmp_enable_calllog();
  snmp_register_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_LOGGING, Note, &complaints_);
  set_persistent_directory("/dev/null");
  init_snmp(kSNMPApplication);
  netsnmp_session session;
  snmp_sess_init(&session);
  std::string host(kAgentHost);
  std::string community(kCommunity);
  session.peername = host.data();
  session.version = SNMP_VERSION_1;
  session.community = reinterpret_cast<unsigned char*>(community.data());
  session.community_len = community.size();
  handle_ = snmp_open(&session);
}

Agent::~Agent() {
  if (handle_ != nullptr) snmp_close(static_cast<netsnmp_session*>(handle_));
}

bool Agent::Knows(const std::string& name) {
  Identifier identifier;
  return Resolve(name, identifier);
}

bool Agent::KnowsSubtree(const std::string& name) {
  Identifier identifier;
  return snmp_parse_oid(name.c_str(), identifier.parts, &identifier.length) != nullptr;
}

bool Agent::MayBeWritten(const std::string& name) {
  Identifier identifier;
  if (!Resolve(name, identifier)) return false;
  const tree* node = get_tree(identifier.parts, identifier.length, get_tree_head());
  return node != nullptr && node->access == MIB_ACCESS_READWRITE;
}

Answer Agent::Get(const std::string& name) {
  Identifier identifier;
  if (!Resolve(name, identifier)) return {};
  netsnmp_pdu* request = snmp_pdu_create(SNMP_MSG_GET);
  snmp_add_null_var(request, identifier.parts, identifier.length);
  return Exchange(request);
}

std::string Agent::Walk(const std::string& subtree) {
  Identifier root;
  std::string text;
  if (snmp_parse_oid(subtree.c_str(), root.parts, &root.length) == nullptr) return text;
  // By numbers: whoever reads it may not have the modules that know the names.
  netsnmp_ds_set_int(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_OID_OUTPUT_FORMAT,
                     NETSNMP_OID_OUTPUT_NUMERIC);
  Identifier current = root;
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (std::chrono::steady_clock::now() < end) {
    netsnmp_pdu* request = snmp_pdu_create(SNMP_MSG_GETNEXT);
    snmp_add_null_var(request, current.parts, current.length);
    netsnmp_pdu* received = nullptr;
    const int status =
        snmp_synch_response(static_cast<netsnmp_session*>(handle_), request, &received);
    const Response response(received);
    if (status != STAT_SUCCESS || response->errstat != SNMP_ERR_NOERROR) break;
    const netsnmp_variable_list* binding = response->variables;
    if (binding == nullptr || binding->name_length < root.length ||
        snmp_oid_compare(binding->name, root.length, root.parts, root.length) != 0 ||
        snmp_oid_compare(binding->name, binding->name_length, current.parts, current.length) <= 0) {
      break;
    }
    std::memcpy(current.parts, binding->name, binding->name_length * sizeof(oid));
    current.length = binding->name_length;
    char line[8192];
    if (snprint_variable(line, sizeof line, binding->name, binding->name_length, binding) >= 0) {
      text += std::string(line) + "\n";
    }
  }
  return text;
}

Answer Agent::Set(const SNMPValue& value) {
  Identifier identifier;
  if (!Resolve(value.name, identifier)) return {};
  netsnmp_pdu* request = snmp_pdu_create(SNMP_MSG_SET);
  netsnmp_variable_list* binding = snmp_add_null_var(request, identifier.parts, identifier.length);
  snmp_set_var_typed_value(binding, value.typeCode, &value.intValue, sizeof value.intValue);
  return Exchange(request);
}

Answer Agent::Exchange(void* request) {
  using Clock = std::chrono::steady_clock;
  Answer answer;
  answer.outcome = Outcome::kSilent;
  auto* session = static_cast<netsnmp_session*>(handle_);
  netsnmp_pdu* received = nullptr;
  const auto start = Clock::now();
  const int status = snmp_synch_response(session, static_cast<netsnmp_pdu*>(request), &received);
  const Response response(received);
  answer.seconds = std::chrono::duration<double>(Clock::now() - start).count();
  if (status != STAT_SUCCESS) return answer;
  session->retries = 1;
  answer.outcome = Outcome::kRefused;
  if (response->errstat != SNMP_ERR_NOERROR) {
    answer.reason = Reason(response);
    if (answer.reason.back() == '.') answer.reason.pop_back();
  } else if (response->variables == nullptr) {
    answer.reason = "no value";
  } else if (!StoreValue(*response->variables, answer.value)) {
    answer.reason = "value too long";
  } else {
    answer.outcome = Outcome::kAnswered;
  }
  return answer;
}
