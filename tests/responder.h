// An agent that answers as a test tells it to: any value of any type, and answers that no honest
// agent gives. Serves udp port 161 of the loopback address from a thread of its own.
#pragma once

#include <net-snmp/net-snmp-config.h>
// The library's main header asks for its configuration first.
#include <net-snmp/net-snmp-includes.h>

#include <atomic>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class Responder {
 public:
  Responder();
  ~Responder();

  /// Gives an object a value; the type letters are those of snmpset(1): i, u, s, x, o, F, D, ...
  void Put(const std::string& name, char type, const std::string& value);
  void Remove(const std::string& name);
  bool Holds(const std::string& name, char type, const std::string& value);

  /// How requests of a kind (get, set or next) for an object are misanswered from now on:
  ///   silent               not at all
  ///   late MILLISECONDS    that much later
  ///   error STATUS INDEX   with this error status and error index
  ///   empty                without a value
  ///   value TYPE VALUE     with this value in place of the object's own
  ///   as NAME              with this object's name
  void Misanswer(const std::string& kind, const std::string& name, const std::string& fault);
  void Behave();

  /// The requests since the last call, in order: "get NAME", "next NAME", "set NAME VALUE". Reads
  /// of the protocol that the line speaks, which come before every request, are left out.
  std::vector<std::string> Requests();
  std::size_t ModeReads() const { return modeReads_; }

 private:
  using Identifier = std::vector<oid>;
  struct Held {
    unsigned char type;
    std::string bytes;  // as the library keeps a value of this type
    bool operator==(const Held& other) const { return type == other.type && bytes == other.bytes; }
  };

  static Identifier Resolve(const std::string& name);
  static Held Encode(char type, const std::string& value);
  static int Receive(int operation, netsnmp_session* session, int id, netsnmp_pdu* pdu, void* self);
  void Record(const std::string& kind, const std::string& name, const netsnmp_variable_list& asked);
  void Answer(netsnmp_session* session, netsnmp_pdu* request);
  void Serve();

  std::mutex mutex_;  // guards all that follows, and the library
  std::map<Identifier, Held> objects_;
  std::map<std::string, std::string> faults_;
  std::vector<std::string> requests_;
  long lastRequest_ = -1;
  std::atomic<std::size_t> modeReads_{0};
  std::atomic<bool> stop_{false};
  std::thread thread_;
};
