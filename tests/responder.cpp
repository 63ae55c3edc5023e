#include "responder.h"

#include <chrono>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace {

std::string Printed(const oid* name, std::size_t length) {
  char text[512];
  snprint_objid(text, sizeof text, name, length);
  return text;
}

}  // namespace

Responder::Responder() {
  static const bool initialised = [] {
    set_persistent_directory("/dev/null");
    init_snmp("responder");
    netsnmp_ds_set_int(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_OID_OUTPUT_FORMAT,
                       NETSNMP_OID_OUTPUT_SUFFIX);
    return true;
  }();
  static_cast<void>(initialised);
  netsnmp_session session;
  snmp_sess_init(&session);
  session.callback = Receive;
  session.callback_magic = this;
  session.authenticator = nullptr;
  netsnmp_transport* transport = netsnmp_transport_open_server("snmp", "udp:127.0.0.1:161");
  if (transport == nullptr || snmp_add(&session, transport, nullptr, nullptr) == nullptr) {
    throw std::runtime_error("udp port 161 is not to be had");
  }
  thread_ = std::thread([this] { Serve(); });
}

Responder::~Responder() {
  stop_ = true;
  thread_.join();
  snmp_close_sessions();
}

void Responder::Serve() {
  while (!stop_) {
    fd_set set;
    FD_ZERO(&set);
    int count = 0;
    int block = 0;
    timeval wait{0, 20000};
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      snmp_select_info(&count, &set, &wait, &block);
    }
    wait = {0, 20000};
    if (select(count, &set, nullptr, nullptr, &wait) <= 0) continue;
    const std::lock_guard<std::mutex> lock(mutex_);
    snmp_read(&set);
  }
}

Responder::Identifier Responder::Resolve(const std::string& name) {
  oid identifier[MAX_OID_LEN];
  std::size_t length = MAX_OID_LEN;
  if (snmp_parse_oid(name.c_str(), identifier, &length) == nullptr) {
    throw std::runtime_error("unknown object " + name);
  }
  return {identifier, identifier + length};
}

Responder::Held Responder::Encode(char type, const std::string& value) {
  const oid name[] = {1, 3};
  netsnmp_pdu* pdu = snmp_pdu_create(SNMP_MSG_SET);
  if (snmp_add_var(pdu, name, 2, type, value.c_str()) != 0) {
    throw std::runtime_error("no value of type " + std::string(1, type) + ": " + value);
  }
  const netsnmp_variable_list* binding = pdu->variables;
  Held held{binding->type, {}};
  if (binding->val_len > 0) {
    held.bytes.assign(reinterpret_cast<const char*>(binding->val.string), binding->val_len);
  }
  snmp_free_pdu(pdu);
  return held;
}

void Responder::Put(const std::string& name, char type, const std::string& value) {
  const std::lock_guard<std::mutex> lock(mutex_);
  objects_[Resolve(name)] = Encode(type, value);
}

void Responder::Remove(const std::string& name) {
  const std::lock_guard<std::mutex> lock(mutex_);
  objects_.erase(Resolve(name));
}

bool Responder::Holds(const std::string& name, char type, const std::string& value) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto found = objects_.find(Resolve(name));
  return found != objects_.end() && found->second == Encode(type, value);
}

void Responder::Misanswer(const std::string& kind, const std::string& name,
                          const std::string& fault) {
  const std::lock_guard<std::mutex> lock(mutex_);
  faults_[kind + " " + name] = fault;
}

void Responder::Behave() {
  const std::lock_guard<std::mutex> lock(mutex_);
  faults_.clear();
}

std::vector<std::string> Responder::Requests() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return std::exchange(requests_, {});
}

int Responder::Receive(int operation, netsnmp_session* session, int, netsnmp_pdu* pdu, void* self) {
  if (operation == NETSNMP_CALLBACK_OP_RECEIVED_MESSAGE && pdu->variables != nullptr) {
    static_cast<Responder*>(self)->Answer(session, pdu);
  }
  return 1;
}

void Responder::Record(const std::string& kind, const std::string& name,
                       const netsnmp_variable_list& asked) {
  if (kind == "get" && name == "qmxRS232Mode.0") {
    ++modeReads_;
  } else if (kind == "set") {
    char value[512];
    snprint_value(value, sizeof value, asked.name, asked.name_length, &asked);
    requests_.push_back("set " + name + " " + value);
  } else {
    requests_.push_back(kind + " " + name);
  }
}

void Responder::Answer(netsnmp_session* session, netsnmp_pdu* request) {
  const netsnmp_variable_list& asked = *request->variables;
  Identifier identifier(asked.name, asked.name + asked.name_length);
  const std::string name = Printed(asked.name, asked.name_length);
  const std::string kind = request->command == SNMP_MSG_GET   ? "get"
                           : request->command == SNMP_MSG_SET ? "set"
                                                              : "next";
  // A request that was sent again while its answer is under way is the same request.
  const bool again = std::exchange(lastRequest_, request->reqid) == request->reqid;
  if (!again) Record(kind, name, asked);

  const auto misanswer = faults_.find(kind + " " + name);
  std::istringstream fault(misanswer == faults_.end() ? "" : misanswer->second);
  std::string what;
  fault >> what;
  if (what == "silent") return;
  if (what == "late" && !again) {
    int milliseconds = 0;
    fault >> milliseconds;
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
  }

  auto found = kind == "next" ? objects_.upper_bound(identifier) : objects_.find(identifier);
  netsnmp_pdu* answer = snmp_clone_pdu(request);
  answer->command = SNMP_MSG_RESPONSE;
  answer->errstat = SNMP_ERR_NOERROR;
  if (what == "error") {
    fault >> answer->errstat >> answer->errindex;
  } else if (what == "empty") {
    snmp_free_varbind(answer->variables);
    answer->variables = nullptr;
  } else if (found == objects_.end() && what.empty()) {
    answer->errstat = SNMP_ERR_NOSUCHNAME;
    answer->errindex = 1;
  } else {
    Held held = found == objects_.end() ? Held{ASN_NULL, {}} : found->second;
    if (kind == "set") {
      held = {asked.type, {reinterpret_cast<const char*>(asked.val.string), asked.val_len}};
      found->second = held;
    }
    if (kind == "next") identifier = found->first;
    if (what == "value") {
      char type = 0;
      std::string value;
      std::getline(fault >> type >> std::ws, value);
      held = Encode(type, value);
    } else if (what == "as") {
      std::string other;
      fault >> other;
      identifier = Resolve(other);
    }
    snmp_free_varbind(answer->variables);
    answer->variables = nullptr;
    snmp_pdu_add_variable(answer, identifier.data(), identifier.size(), held.type,
                          held.bytes.data(), held.bytes.size());
  }
  if (snmp_send(session, answer) == 0) snmp_free_pdu(answer);
}
