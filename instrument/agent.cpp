#include "agent.h"

#include <net-snmp/net-snmp-config.h>
// The library's main header asks for its configuration first.
#include <net-snmp/net-snmp-includes.h>
// Needs both of them.
#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <map>
#include <stdexcept>
#include <vector>

// The library exports this and declares it nowhere.
extern "C" void init_vacm_config_tokens(void);

namespace {

Agent::Written g_written;
std::function<void()> g_tick;

/// Values replaced by a write that may still be undone.
std::map<const Register*, Value> g_replaced;

std::vector<oid> Resolve(const std::string& object) {
  oid identifier[MAX_OID_LEN];
  std::size_t length = MAX_OID_LEN;
  if (get_node(object.c_str(), identifier, &length) == 0) {
    throw std::runtime_error("the MIB modules do not define " + object +
                             ": name their folder with --mibs");
  }
  return {identifier, identifier + length};
}

struct Encoder {
  netsnmp_variable_list* binding;

  void Put(u_char type, const void* data, std::size_t size) const {
    snmp_set_var_typed_value(binding, type, data, size);
  }
  void operator()(std::int32_t value) const { Put(ASN_INTEGER, &value, sizeof value); }
  void operator()(std::uint32_t value) const { Put(ASN_GAUGE, &value, sizeof value); }
  void operator()(float value) const { Put(ASN_OPAQUE_FLOAT, &value, sizeof value); }
  void operator()(double value) const { Put(ASN_OPAQUE_DOUBLE, &value, sizeof value); }
  void operator()(const std::string& value) const {
    Put(ASN_OCTET_STR, value.data(), value.size());
  }
  void operator()(const ObjectName& value) const {
    const std::vector<oid> identifier = Resolve(value.name);
    Put(ASN_OBJECT_ID, identifier.data(), identifier.size() * sizeof(oid));
  }
};

/// Takes a written value of the register's own type over; false for one of another type.
struct Decoder {
  const netsnmp_variable_list& binding;

  bool operator()(std::int32_t& value) const {
    if (binding.type != ASN_INTEGER) return false;
    value = static_cast<std::int32_t>(*binding.val.integer);
    return true;
  }
  bool operator()(std::uint32_t& value) const {
    if (binding.type != ASN_GAUGE) return false;
    value = static_cast<std::uint32_t>(*binding.val.integer);
    return true;
  }
  bool operator()(float& value) const {
    if (binding.type != ASN_OPAQUE_FLOAT) return false;
    value = *binding.val.floatVal;
    return true;
  }
  bool operator()(double& value) const {
    if (binding.type != ASN_OPAQUE_DOUBLE) return false;
    value = *binding.val.doubleVal;
    return true;
  }
  bool operator()(std::string& value) const {
    if (binding.type != ASN_OCTET_STR || binding.val_len > 255) return false;
    value.assign(reinterpret_cast<const char*>(binding.val.string), binding.val_len);
    return true;
  }
  bool operator()(ObjectName& value) const {
    if (binding.type != ASN_OBJECT_ID) return false;
    char text[SPRINT_MAX_LEN];
    snprint_objid(text, sizeof text, binding.val.objid, binding.val_len / sizeof(oid));
    value.name = text;
    return true;
  }
};

int Handle(netsnmp_mib_handler*, netsnmp_handler_registration* registration,
           netsnmp_agent_request_info* info, netsnmp_request_info* requests) {
  auto& reg = *static_cast<Register*>(registration->my_reg_void);
  netsnmp_variable_list* binding = requests->requestvb;
  switch (info->mode) {
    case MODE_GET:
      std::visit(Encoder{binding}, reg.value);
      break;
    case MODE_SET_RESERVE1: {
      Value trial = reg.value;
      if (!std::visit(Decoder{*binding}, trial)) {
        netsnmp_set_request_error(info, requests, SNMP_ERR_WRONGTYPE);
      }
      break;
    }
    case MODE_SET_ACTION:
      g_replaced[&reg] = reg.value;
      std::visit(Decoder{*binding}, reg.value);
      break;
    case MODE_SET_UNDO:
      reg.value = g_replaced[&reg];
      g_replaced.erase(&reg);
      break;
    case MODE_SET_COMMIT:
      g_replaced.erase(&reg);
      g_written(reg);
      break;
    default:
      break;
  }
  return SNMP_ERR_NOERROR;
}

void Export(Register& reg) {
  const std::vector<oid> identifier = Resolve(reg.object);
  netsnmp_handler_registration* registration = netsnmp_create_handler_registration(
      reg.object.c_str(), Handle, identifier.data(), identifier.size(),
      reg.access == Access::kReadWrite ? HANDLER_CAN_RWRITE : HANDLER_CAN_RONLY);
  registration->my_reg_void = &reg;
  if (netsnmp_register_instance(registration) != MIB_REGISTERED_OK) {
    throw std::runtime_error("cannot register " + reg.object);
  }
}

}  // namespace

Agent::Agent(Registers& registers, const std::string& mibs, int port, Written written) {
  constexpr char kName[] = "qmx-instrument";
  g_written = std::move(written);
  set_persistent_directory("/dev/null");
  if (!mibs.empty()) setenv("MIBDIRS", mibs.c_str(), 1);
  setenv("MIBS", "QMX-MIB:QMX-REGLOG-MIB", 1);
  const std::string address = "udp:127.0.0.1:" + std::to_string(port);
  netsnmp_ds_set_string(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_PORTS, address.c_str());
  netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_DONT_LOG_TCPWRAPPERS_CONNECTS,
                         1);
  if (init_agent(kName) != 0) throw std::runtime_error("the SNMP agent does not start");
  init_vacm_config_tokens();
  char community[] = "rwcommunity pelmar";
  netsnmp_config_remember(community);
  init_snmp(kName);
  for (Register& reg : registers.All()) Export(reg);
  if (init_master_agent() != 0) {
    throw std::runtime_error("cannot serve udp port " + std::to_string(port) +
                             ": in use, or below 1024 and not root");
  }
}

Agent::~Agent() { shutdown_agent(); }

void Agent::EverySecond(std::function<void()> tick) {
  g_tick = std::move(tick);
  snmp_alarm_register(
      1, SA_REPEAT, [](unsigned, void*) { g_tick(); }, nullptr);
}

void Agent::Serve() { agent_check_and_process(1); }
