// The SNMP agent of the simulated instrument: version 1, community "pelmar", read and write.
#pragma once

#include <functional>
#include <string>

#include "objects.h"

class Agent {
 public:
  /// Told after an object was written over SNMP.
  using Written = std::function<void(const Identifier& object)>;

  /// Reads the MIB modules that are named like "QMX-MIB:QMX-REGLOG-MIB", or all for "ALL", from the
  /// folder `mibs`. Either is left to the SNMP library's configuration where it is empty.
  Agent(const std::string& mibs, const std::string& modules);
  ~Agent();
  Agent(const Agent&) = delete;
  Agent& operator=(const Agent&) = delete;

  /// Serves the objects on this UDP port of the loopback address. What the modules do not call
  /// read-only can be written. Throws std::runtime_error when the port cannot be had.
  static void Open(Objects& objects, int port, Written written);

  /// Calls `tick` once a second, from within Serve.
  static void EverySecond(std::function<void()> tick);

  /// Waits for requests or the next tick, whichever comes first, and deals with them.
  static void Serve();
};
