#include "responder.h"

#include <poll.h>

#include <stdexcept>
#include <utility>

Responder::Responder() {
  static std::once_flag initialised;
  std::call_once(initialised, [] {
    set_persistent_directory("/dev/null");
    init_snmp("responder");
    netsnmp_ds_set_int(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_OID_OUTPUT_FORMAT,
                       NETSNMP_OID_OUTPUT_SUFFIX);
  });
  netsnmp_session session;
  snmp_sess_init(&session);
  session.callback = Receive;
  session.callback_magic = this;
  session.authenticator = nullptr;
  netsnmp_transport* transport = netsnmp_transport_open_server("snmp", "udp:127.0.0.1:161");
  if (transport == nullptr || snmp_add(&session, transport, nullptr, nullptr) == nullptr) {
    throw std::runtime_error("udp port 161 is not to be had");
  }
  socket_ = transport->sock;
  thread_ = std::thread([this] { Serve(); });
}

Responder::~Responder() {
  stop_ = true;
  thread_.join();
  snmp_close_sessions();
}

void Responder::Serve() {
  while (!stop_) {
    pollfd request{socket_, POLLIN, 0};
    if (poll(&request, 1, 20) <= 0) continue;
    fd_set set;
    FD_ZERO(&set);
    FD_SET(socket_, &set);
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

std::string Responder::Requests() {
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

void Responder::Record(const netsnmp_pdu& request) {
  const netsnmp_variable_list& asked = *request.variables;
  char name[512];
  char value[512];
  snprint_objid(name, sizeof name, asked.name, asked.name_length);
  snprint_value(value, sizeof value, asked.name, asked.name_length, &asked);
  const std::string text = Kind(request) + " " + name;
  if (text == "get qmxRS232Mode.0") {
    ++modeReads_;
  } else {
    requests_ += text + (request.command == SNMP_MSG_SET ? std::string(" ") + value : "") + "; ";
  }
}

void Responder::Answer(netsnmp_session* session, netsnmp_pdu* request) {
  // A request that was sent again while its answer is under way is the same request.
  if (std::exchange(lastRequest_, request->reqid) != request->reqid) Record(*request);
  netsnmp_pdu* answer = objects_.Answer(request);
  if (answer != nullptr && snmp_send(session, answer) == 0) snmp_free_pdu(answer);
}
