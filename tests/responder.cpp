#include "responder.h"

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

bool Responder::Follow(const std::string& line) {
  const std::lock_guard<std::mutex> lock(mutex_);
  return objects_.Follow(line);
}

bool Responder::Holds(const std::string& name, char type, const std::string& value) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto found = objects_.All().find(Resolve(name));
  return found != objects_.All().end() && found->second == Encode(type, value);
}

std::vector<std::string> Responder::Requests() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return std::exchange(requests_, {});
}

int Responder::Receive(int operation, netsnmp_session* session, int, netsnmp_pdu* pdu, void* self) {
  if (operation == NETSNMP_CALLBACK_OP_RECEIVED_MESSAGE && pdu->variables != nullptr &&
      pdu->version == SNMP_VERSION_1 &&
      std::string(pdu->community, pdu->community + pdu->community_len) == "pelmar") {
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
  // A request that was sent again while its answer is under way is the same request.
  const bool again = std::exchange(lastRequest_, request->reqid) == request->reqid;
  if (!again) Record(Kind(*request), Printed(asked.name, asked.name_length), asked);
  netsnmp_pdu* answer = objects_.Answer(request);
  if (answer != nullptr && snmp_send(session, answer) == 0) snmp_free_pdu(answer);
}
