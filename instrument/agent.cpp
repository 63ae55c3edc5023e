#include "agent.h"

#include <net-snmp/net-snmp-config.h>
// The library's main header asks for its configuration first.
#include <net-snmp/net-snmp-includes.h>
// Needs both of them.
#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <stdexcept>

// The library exports these and declares them nowhere.
extern "C" {
void init_vacm_config_tokens(void);
extern netsnmp_session* main_session;
}

namespace {

constexpr char kName[] = "qmx-instrument";
constexpr std::size_t kLongestText = 255;

Objects* g_objects;
Agent::Written g_written;
std::function<void()> g_tick;

Identifier NameOf(const netsnmp_variable_list& binding) {
  return {binding.name, binding.name + binding.name_length};
}

int WhyNot(const Identifier& object, const Value& old, const netsnmp_variable_list& wanted) {
  if (IsReadOnly(object)) return SNMP_ERR_NOTWRITABLE;
  if (wanted.type != old.type) return SNMP_ERR_WRONGTYPE;
  return wanted.type == ASN_OCTET_STR && wanted.val_len > kLongestText ? SNMP_ERR_WRONGLENGTH
                                                                       : SNMP_ERR_NOERROR;
}

/// What is refused is refused before anything is set: nothing is to be undone.
void Set(int mode, const Identifier& object, Value& value, const netsnmp_variable_list& wanted) {
  if (mode == MODE_SET_ACTION) {
    value = Copy(wanted);
  } else if (mode == MODE_SET_COMMIT) {
    g_written(object);
  }
}

void HandleOne(netsnmp_agent_request_info* info, netsnmp_request_info* request) {
  netsnmp_variable_list& binding = *request->requestvb;
  Objects::Map& objects = g_objects->All();
  const Identifier asked = NameOf(binding);
  const auto found = info->mode == MODE_GETNEXT ? objects.upper_bound(asked) : objects.find(asked);
  if (found == objects.end()) {
    // Behind the last object the library finds for itself that there is none.
    if (info->mode != MODE_GETNEXT) netsnmp_request_set_error(request, SNMP_NOSUCHOBJECT);
    return;
  }
  auto& [object, value] = *found;
  if (info->mode == MODE_GET || info->mode == MODE_GETNEXT) {
    snmp_set_var_objid(&binding, object.data(), object.size());
    snmp_set_var_typed_value(&binding, value.type, value.bytes.data(), value.bytes.size());
  } else if (info->mode == MODE_SET_RESERVE1) {
    const int refused = WhyNot(object, value, binding);
    if (refused != SNMP_ERR_NOERROR) netsnmp_request_set_error(request, refused);
  } else {
    Set(info->mode, object, value, binding);
  }
}

int Handle(netsnmp_mib_handler*, netsnmp_handler_registration*, netsnmp_agent_request_info* info,
           netsnmp_request_info* requests) {
  for (; requests != nullptr; requests = requests->next) HandleOne(info, requests);
  return SNMP_ERR_NOERROR;
}

/// What the library cannot answer: a fault, or an object whose value is NULL, which it takes for
/// none.
bool IsBeyondLibrary(const netsnmp_pdu& request) {
  const auto found = g_objects->Find(request);
  return g_objects->FaultOf(request) != nullptr ||
         (found != g_objects->All().end() && found->second.type == ASN_NULL);
}

/// Comes before the library's own callback.
int Receive(int operation, netsnmp_session* session, int id, netsnmp_pdu* pdu, void* magic) {
  if (operation != NETSNMP_CALLBACK_OP_RECEIVED_MESSAGE || pdu->variables == nullptr ||
      !IsBeyondLibrary(*pdu)) {
    return handle_snmp_packet(operation, session, id, pdu, magic);
  }
  netsnmp_pdu* answer = g_objects->Answer(pdu);
  if (answer != nullptr && snmp_send(session, answer) == 0) snmp_free_pdu(answer);
  return 1;
}

}  // namespace

Agent::Agent(const std::string& mibs, const std::string& modules) {
  set_persistent_directory("/dev/null");
  if (!mibs.empty()) setenv("MIBDIRS", mibs.c_str(), 1);
  if (!modules.empty()) setenv("MIBS", modules.c_str(), 1);
  netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_DONT_LOG_TCPWRAPPERS_CONNECTS,
                         1);
  if (init_agent(kName) != 0) throw std::runtime_error("the SNMP agent does not start");
  init_vacm_config_tokens();
  char community[] = "rwcommunity pelmar";
  netsnmp_config_remember(community);
  init_snmp(kName);
}

Agent::~Agent() { shutdown_agent(); }

void Agent::Open(Objects& objects, int port, Written written) {
  g_objects = &objects;
  g_written = std::move(written);
  const oid everything[] = {1, 3};
  netsnmp_handler_registration* registration =
      netsnmp_create_handler_registration(kName, Handle, everything, 2, HANDLER_CAN_RWRITE);
  if (netsnmp_register_handler(registration) != MIB_REGISTERED_OK) {
    throw std::runtime_error("the SNMP agent does not take the registers");
  }
  const std::string address = "udp:127.0.0.1:" + std::to_string(port);
  netsnmp_ds_set_string(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_PORTS, address.c_str());
  if (init_master_agent() != 0) {
    throw std::runtime_error("cannot serve udp port " + std::to_string(port) +
                             ": in use, or below 1024 and not root");
  }
  main_session->callback = Receive;
}

void Agent::EverySecond(std::function<void()> tick) {
  g_tick = std::move(tick);
  snmp_alarm_register(
      1, SA_REPEAT, [](unsigned, void*) { g_tick(); }, nullptr);
}

void Agent::Serve() { agent_check_and_process(1); }
