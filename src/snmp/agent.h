// Where the instrument's agent is, and how it is asked.
#pragma once

/// Name under which the SNMP library reads its configuration (snmp.conf, snmpapp.conf).
constexpr char kSNMPApplication[] = "snmpapp";

constexpr char kAgentHost[] = "localhost";
constexpr char kCommunity[] = "pelmar";

/// Objects of this module are the instrument's own and take no register number.
constexpr char kSkippedModule[] = "QMX-REGLOG-MIB";
