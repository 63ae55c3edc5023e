// Who listens on a port of this machine.
#pragma once

#include <string>

/// The program that has the port, such as "snmpd (process 321)"; "a program" when only root sees
/// which; empty when there is none.
std::string UDPListener(int port);
std::string TCPListener(int port);
