#include <cstdlib>
#include <cstring>

#include "snmp/agent.h"
#include "snmp/snmp.h"

CSNMP::CSNMP() : count(0) {
  // Keeps the library from making a state folder, and from saying so. Its own switch against that
  // (NETSNMP_DS_LIB_DONT_PERSIST_STATE) is of no use here: it also stops the reading of snmp.conf,
  // which names the MIB modules.
  set_persistent_directory("/dev/null");
  init_snmp(kSNMPApplication);
  snmp_sess_init(&session);
  session.peername = strdup(kAgentHost);
  session.version = SNMP_VERSION_1;
  static unsigned char community[sizeof kCommunity];
  std::memcpy(community, kCommunity, sizeof kCommunity);
  session.community = community;
  session.community_len = sizeof kCommunity - 1;
  handle = snmp_open(&session);
  if (handle == nullptr) {
    snmp_log(LOG_ERR, "something horrible happened!!!\n");
    std::exit(2);
  }
}

CSNMP::~CSNMP() {
  snmp_close(handle);
  std::free(session.peername);
}

int CSNMP::Exchange(netsnmp_pdu* request, Response& response) {
  netsnmp_pdu* answer = nullptr;
  const int status = snmp_synch_response(handle, request, &answer);
  response.reset(answer);
  return status;
}
