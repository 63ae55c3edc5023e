// The SNMP agent of the simulated instrument: version 1, community "pelmar", read and write.
#pragma once

#include <functional>
#include <string>

#include "registers.h"

class Agent {
 public:
  /// Told after a register was written over SNMP.
  using Written = std::function<void(Register& written)>;

  /// Serves the registers on this UDP port of the loopback address. `mibs` is the folder of the
  /// MIB modules, empty where the SNMP library's configuration names them. Throws
  /// std::runtime_error when a module is missing or the port cannot be had.
  Agent(Registers& registers, const std::string& mibs, int port, Written written);
  ~Agent();
  Agent(const Agent&) = delete;
  Agent& operator=(const Agent&) = delete;

  /// Calls `tick` once a second, from within Serve.
  static void EverySecond(std::function<void()> tick);

  /// Waits for requests or the next tick, whichever comes first, and deals with them.
  static void Serve();
};
