// Having a serial port for oneself, among programs that care.
#pragma once

#include <optional>
#include <string>

#include "port/owner.h"

/// A port, held from Take until Release or the object's end: by a lock file, which minicom and
/// others look for, and by a lock on the device itself. Where /run/lock may not be written, by the
/// latter alone.
class PortLock {
 public:
  PortLock() = default;
  ~PortLock() { Release(); }
  PortLock(const PortLock&) = delete;
  PortLock& operator=(const PortLock&) = delete;

  /// Takes the port, under any of its names. Returns nothing when it is held now, or who has it.
  /// Opens the device without waiting for a modem and reads nothing of it; that it cannot be opened
  /// is left to be found by whoever opens it next. Descriptors of one's own do not hinder. The lock
  /// file names `program`, or this one.
  std::optional<Owner> Take(const std::string& device, const std::string& program = "");

  /// Gives the port back. Harmless when it is not held.
  void Release();

  /// Leaves the port to the program that this process becomes (exec): the lock ends with the
  /// process, the file when SweepLockFiles is called next.
  void KeepAcrossExec() const;

 private:
  std::optional<Owner> WriteLockFile(const std::string& device, const std::string& program);

  int descriptor_ = -1;
  std::string file_;  // lock file that is ours; empty when there is none
};

/// Removes the lock files of this user whose processes have ended.
void SweepLockFiles();
