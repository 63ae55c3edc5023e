// Who listens on a port of this machine, and who is connected to one.
#pragma once

#include <optional>
#include <string>

/// The program that has the port, such as "snmpd (process 321)"; "a program" when only root sees
/// which; empty when there is none.
std::string UDPListener(unsigned port);
std::string TCPListener(unsigned port);

/// Whether the process has an IPv4 connection to this TCP port, be it one that the other end has
/// closed; nothing when this user may not look into the process.
std::optional<bool> HasConnection(long process, unsigned port);
