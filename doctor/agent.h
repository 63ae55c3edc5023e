// The instrument's agent, asked as the gateway asks it, but quietly and with an end.
#pragma once

#include <string>

#include "snmp/snmp_value.h"

enum class Outcome {
  kAnswered,  ///< `value` holds it
  kUnknown,   ///< the MIB modules do not define the name
  kSilent,    ///< no answer in time
  kRefused,   ///< `reason` says why
};

struct Answer {
  Outcome outcome = Outcome::kUnknown;
  std::string reason;
  SNMPValue value{};
  double seconds = 0;  ///< from the question to the answer
};

class Agent {
 public:
  /// Loads the MIB modules and opens the session.
  Agent();
  ~Agent();
  Agent(const Agent&) = delete;
  Agent& operator=(const Agent&) = delete;

  /// Whether there is a session: localhost has to resolve. Nothing can be asked without.
  bool IsOpen() const { return handle_ != nullptr; }

  /// What the SNMP library had to say about its configuration and the MIB modules, a line each.
  const std::string& Complaints() const { return complaints_; }

  /// Whether the MIB modules define the register, and the subtree.
  static bool Knows(const std::string& name);
  static bool KnowsSubtree(const std::string& name);

  /// Whether they allow it to be written.
  static bool MayBeWritten(const std::string& name);

  /// Waits as long as the gateway does (about 6 s) until an answer has come once, 2 s from then on.
  Answer Get(const std::string& name);

  /// The subtree as snmpwalk -On prints it, as far as it can be had in 5 s. Changes how the library
  /// prints identifiers from then on.
  std::string Walk(const std::string& subtree);

  /// Writes the integer that `value` holds to the register that it names.
  Answer Set(const SNMPValue& value);

 private:
  /// Takes the PDU; waits for the answer to it.
  Answer Exchange(void* request);

  void* handle_ = nullptr;
  std::string complaints_;
};
