// The floor under the daemon: what the SNMP library and a pseudo-terminal need by themselves.
#pragma once

#include <net-snmp/net-snmp-config.h>
// The library's main header asks for its configuration first.
#include <net-snmp/net-snmp-includes.h>

#include <string>
#include <vector>

/// A session as the daemon's, and nothing around it.
class BareSession {
 public:
  BareSession();
  ~BareSession();
  BareSession(const BareSession&) = delete;
  BareSession& operator=(const BareSession&) = delete;

  /// Reads each of these objects. Throws std::runtime_error when one cannot be read.
  void Get(const std::vector<std::string>& names);

  /// The value of one object as the library prints it, such as "INTEGER: 5".
  std::string Print(const std::string& name);

  /// Walks a subtree with one GETNEXT a step; returns the number of objects.
  int Walk(const std::string& subtree);

 private:
  netsnmp_pdu* Ask(int command, const oid* name, std::size_t length);
  netsnmp_session* handle_;
};
