#include "doctor/listener.h"

#include <unistd.h>

#include <climits>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <set>

#include "port/owner.h"

namespace {

namespace fs = std::filesystem;

enum class End { kLocal, kRemote };

/// Sockets of /proc/net/udp or tcp with this port at that end; in any state with state 0 (0A is
/// listening).
std::set<std::string> SocketsOf(const std::string& table, End end, unsigned port, unsigned state) {
  std::set<std::string> sockets;
  std::ifstream lines(table);
  for (std::string line; std::getline(lines, line);) {
    unsigned local = 0;
    unsigned remote = 0;
    unsigned socketState = 0;
    unsigned long inode = 0;
    if (std::sscanf(line.c_str(), " %*d: %*[0-9A-F]:%x %*[0-9A-F]:%x %x %*s %*s %*s %*d %*d %lu",
                    &local, &remote, &socketState, &inode) == 4 &&
        (end == End::kLocal ? local : remote) == port && (state == 0 || socketState == state)) {
      sockets.insert("socket:[" + std::to_string(inode) + "]");
    }
  }
  return sockets;
}

std::string Listener(const std::string& protocol, unsigned port, unsigned state) {
  std::set<std::string> sockets = SocketsOf("/proc/net/" + protocol, End::kLocal, port, state);
  sockets.merge(SocketsOf("/proc/net/" + protocol + "6", End::kLocal, port, state));
  if (sockets.empty()) return "";
  std::error_code error;
  for (const auto& process : fs::directory_iterator("/proc", error)) {
    const long number = std::atol(process.path().filename().c_str());
    if (number <= 0) continue;
    for (const auto& descriptor : fs::directory_iterator(process.path() / "fd", error)) {
      if (sockets.count(fs::read_symlink(descriptor.path(), error)) == 0) continue;
      std::string name;
      std::ifstream comm(process.path() / "comm");
      std::getline(comm, name);
      return Describe({number, name, How::kOpen});
    }
  }
  return "a program";
}

}  // namespace

std::string UDPListener(unsigned port) { return Listener("udp", port, 0); }

std::string TCPListener(unsigned port) { return Listener("tcp", port, 0x0A); }

std::optional<bool> HasConnection(long process, unsigned port) {
  const fs::path folder = fs::path("/proc") / std::to_string(process);
  const std::set<std::string> sockets = SocketsOf(folder / "net/tcp", End::kRemote, port, 0);
  std::error_code error;
  for (const auto& descriptor : fs::directory_iterator(folder / "fd", error)) {
    if (sockets.count(fs::read_symlink(descriptor.path(), error)) > 0) return true;
  }
  if (error) return std::nullopt;
  return false;
}
