// Tells who has a serial port, or has it for a program.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "port/lock.h"
#include "serial/serial_port.h"

namespace {

enum Status {
  kDone = 0,
  kFailed = 1,
  kInUse = 4,
  kNeverServed = 78,  // as systemd names it: CONFIG
};

/// The device behind all symbolic links; empty, with a message, when there is none.
std::string DeviceBehind(const std::string& name) {
  std::error_code error;
  const std::string device = std::filesystem::canonical(name, error);
  if (error) std::fprintf(stderr, "%s is not there: %s.\n", name.c_str(), error.message().c_str());
  return device;
}

void Tell(const std::string& device, const Owner& owner, const std::string& consequence) {
  std::printf("%s is in use by %s%s\n", device.c_str(), Describe(owner).c_str(),
              consequence.c_str());
}

int TellOwners(const std::string& name, bool quiet) {
  if (DeviceBehind(name).empty()) return kFailed;
  bool sawAll = true;
  const std::vector<Owner> owners = PortOwners(name, &sawAll);
  for (const Owner& owner : owners) {
    Tell(name, owner,
         owner.how == How::kOpen
             ? " without a lock: each byte that comes reaches only one of those who read."
             : ".");
  }
  if (!owners.empty()) return kInUse;
  if (quiet) return kDone;
  std::printf("%s is free%s.\n", name.c_str(), sawAll ? "" : ", as far as this user can see");
  return kDone;
}

/// Waits until the port is had. Returns false, with a message, when the device is gone.
bool Await(PortLock& lock, const std::string& name, const std::string& program) {
  constexpr int kRemindAfter = 3600;
  std::string told;
  for (int second = 0; !DeviceBehind(name).empty(); ++second) {
    const auto owner = lock.Take(name, program);
    if (!owner) return true;
    if (Describe(*owner) != told || second % kRemindAfter == 0) {
      told = Describe(*owner);
      Tell(name, *owner, "; " + program + " waits until it is free.");
    }
    sleep(1);
  }
  return false;
}

/// Becomes the command, with the device behind the name as its last argument.
int Serve(const std::string& name, const std::vector<std::string>& command) {
  PortLock lock;
  if (!Await(lock, name, command[0])) return kFailed;
  const std::string device = DeviceBehind(name);
  if (device.size() >= kDevicePathSize) {
    std::fprintf(stderr,
                 "%s has %zu characters, %d more than can be served. Give it a short name with a "
                 "udev rule: SYMLINK+=\"logger\".\n",
                 device.c_str(), device.size(),
                 static_cast<int>(device.size()) - kDevicePathSize + 1);
    return kNeverServed;
  }
  std::printf("%s serves %s%s, version %s.\n", command[0].c_str(), device.c_str(),
              device == name ? "" : (" (" + name + ")").c_str(), QMX_VERSION);
  std::vector<char*> arguments;
  for (const std::string& argument : command)
    arguments.push_back(const_cast<char*>(argument.data()));
  arguments.push_back(const_cast<char*>(device.data()));
  arguments.push_back(nullptr);
  lock.KeepAcrossExec();
  execvp(arguments[0], arguments.data());
  std::fprintf(stderr, "%s cannot be started: %s.\n", arguments[0], std::strerror(errno));
  return kFailed;
}

}  // namespace

int main(int argc, char* argv[]) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  std::string name;
  std::vector<std::string> command;
  bool quiet = false;
  CLI::App app{"Tells who has a serial port, or has it for a program"};
  app.set_version_flag("--version", QMX_VERSION);
  app.add_option("DEVICE", name, "Serial device, under any of its names");
  app.add_option("COMMAND", command,
                 "Program and arguments that are to have the port; the device is added to them");
  app.add_flag("--quiet", quiet, "Say nothing about a port that is free");
  const CLI::Option* sweep = app.add_flag(
      "--sweep", "Remove the lock files of this user whose processes have ended, and nothing else");
  app.prefix_command();
  app.positionals_at_end();
  CLI11_PARSE(app, argc, argv);
  if (*sweep) {
    SweepLockFiles();
    return kDone;
  }
  if (name.empty()) {
    std::fprintf(stderr, "Which port? Say qmx-port DEVICE, such as /dev/ttyUSB0.\n");
    return kFailed;
  }
  return command.empty() ? TellOwners(name, quiet) : Serve(name, command);
}
