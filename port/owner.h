// Who has a serial port.
#pragma once

#include <optional>
#include <string>
#include <vector>

/// Where programs say which ports they have: files LCK..NAME with the number of a process.
constexpr char kLockFolder[] = "/run/lock/";
constexpr char kLockPrefix[] = "LCK..";

/// What stands for NAME: the path behind /dev with _ for each /, as minicom has it; elsewhere the
/// last name.
std::string LockFileName(const std::string& path);

/// How a program has a port.
enum class How {
  kLockFile,  ///< a lock file names its process
  kLock,      ///< it locked the device itself, with flock(2) or fcntl(2)
  kOpen,      ///< it has it open, and does not care who else has
};

struct Owner {
  long process;         ///< its number; 0 when that cannot be seen from here
  std::string program;  ///< its name, cut to 15 characters by the kernel, or words for it where its
                        ///< number is 0; empty when not known
  How how;              ///< the first of the ways that applies
};

/// "minicom (process 26539)"; "process 26539" or "another program" where less is known.
std::string Describe(const Owner& owner);

/// Everybody but this process who has the port, each process once. All names of a port are one:
/// symbolic links are followed, and devices compared by their numbers. Lock files whose process has
/// ended do not count, those that this user may not read do. A program that has a pseudo-terminal's
/// other end open, as socat has, is no user of it but what serves it. Empty when there is no such
/// device.
///
/// Only root sees what the processes of other users have open; `sawAll` tells whether there was any
/// process that this user may not look into.
std::vector<Owner> PortOwners(const std::string& device, bool* sawAll = nullptr);

/// The first of them.
std::optional<Owner> PortOwner(const std::string& device);
