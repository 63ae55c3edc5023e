#include "port/lock.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>

namespace {

namespace fs = std::filesystem;

/// As minicom writes it: the process in ten columns, the program, the user.
std::string LockText(std::string program) {
  if (program.empty()) {
    std::ifstream comm("/proc/self/comm");
    std::getline(comm, program);
  }
  const passwd* user = getpwuid(geteuid());
  char process[16];
  std::snprintf(process, sizeof process, "%10ld", static_cast<long>(getpid()));
  return process + (" " + program) + " " + (user != nullptr ? user->pw_name : "-") + "\n";
}

}  // namespace

std::optional<Owner> PortLock::Take(const std::string& device, const std::string& program) {
  Release();
  if (auto owner = PortOwner(device)) return owner;
  if (auto owner = WriteLockFile(device, program)) return owner;
  descriptor_ = open(device.c_str(), O_RDONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  if (descriptor_ < 0 || flock(descriptor_, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK) {
    return std::nullopt;
  }
  Release();
  const auto owner = PortOwner(device);
  return owner ? owner : Owner{0, "", How::kLock};
}

std::optional<Owner> PortLock::WriteLockFile(const std::string& device,
                                             const std::string& program) {
  std::error_code error;
  const fs::path port = fs::canonical(device, error);
  if (error) return std::nullopt;
  const std::string path = std::string(kLockFolder) + kLockPrefix + LockFileName(port);
  // Under its name only when it is whole, so that nobody reads a file without a process.
  const std::string draft = std::string(kLockFolder) + "LTMP." + std::to_string(getpid());
  std::ofstream file(draft);
  file << LockText(program);
  file.close();
  if (!file) return std::nullopt;
  // Whatever the caller's umask: a lock file is for others to read.
  fs::permissions(draft, fs::perms(0644), error);
  std::optional<Owner> owner;
  for (int attempt = 0; attempt < 2 && file_.empty() && !owner; ++attempt) {
    if (link(draft.c_str(), path.c_str()) == 0) {
      file_ = path;
    } else if ((owner = PortOwner(device)) == std::nullopt) {
      unlink(path.c_str());  // its process has ended
    }
  }
  unlink(draft.c_str());
  return owner;
}

void PortLock::Release() {
  if (!file_.empty()) unlink(file_.c_str());
  file_.clear();
  if (descriptor_ >= 0) close(descriptor_);
  descriptor_ = -1;
}

void PortLock::KeepAcrossExec() const {
  if (descriptor_ >= 0) fcntl(descriptor_, F_SETFD, 0);
}

void SweepLockFiles() {
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(kLockFolder, error)) {
    struct stat status {};
    if (entry.path().filename().string().rfind(kLockPrefix, 0) != 0) continue;
    if (lstat(entry.path().c_str(), &status) != 0 || status.st_uid != geteuid()) continue;
    std::ifstream file(entry.path());
    pid_t process = 0;
    if (file >> process && kill(process, 0) != 0 && errno == ESRCH) unlink(entry.path().c_str());
  }
}
