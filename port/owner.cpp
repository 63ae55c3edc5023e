#include "port/owner.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>

namespace {

namespace fs = std::filesystem;

std::optional<struct stat> Status(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return std::nullopt;
  return status;
}

bool IsPort(const std::string& path, const struct stat& port) {
  const auto status = Status(path);
  return status && S_ISCHR(status->st_mode) && status->st_rdev == port.st_rdev;
}

bool IsAlive(long process) { return kill(static_cast<pid_t>(process), 0) == 0 || errno == EPERM; }

std::string ProgramOf(long process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/comm");
  std::string name;
  std::getline(file, name);
  return name;
}

/// Lock files are named after the path that a program was given: its last name, or all of it behind
/// /dev with _ for each /.
bool NamesPort(const std::string& name, const std::string& device, const struct stat& port) {
  if (fs::path(device).filename() == name) return true;
  for (const char* folder : {"/dev/", "/dev/pts/", "/dev/serial/by-id/", "/dev/serial/by-path/"}) {
    const std::string prefix = LockFileName(folder);
    if (IsPort(folder + name, port)) return true;
    if (name.compare(0, prefix.size(), prefix) == 0 &&
        IsPort(folder + name.substr(prefix.size()), port)) {
      return true;
    }
  }
  return false;
}

/// Whether the process is the other end of a pseudo-terminal: socat and others keep both ends open.
bool IsOtherEnd(const fs::path& process, const struct stat& port) {
  constexpr unsigned kFirstMajor = 136;  // of pseudo-terminals, 256 of them each, up to 143
  const unsigned driver = major(port.st_rdev);
  if (driver < kFirstMajor || driver > kFirstMajor + 7) return false;
  const unsigned index = (driver - kFirstMajor) * 256 + minor(port.st_rdev);
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(process / "fdinfo", error)) {
    std::ifstream info(entry.path());
    for (std::string word; info >> word;) {
      unsigned number = 0;
      if (word == "tty-index:" && info >> number && number == index) return true;
    }
  }
  return false;
}

class Search {
 public:
  Search(const std::string& device, const struct stat& port) : device_(device), port_(port) {}

  void LockFiles() {
    const std::string prefix(kLockPrefix);
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(kLockFolder, error)) {
      const std::string name = entry.path().filename();
      if (name.compare(0, prefix.size(), prefix) != 0) continue;
      if (!NamesPort(name.substr(prefix.size()), device_, port_)) continue;
      // It stands for a living process until somebody who may read it sees otherwise.
      if (access(entry.path().c_str(), R_OK) != 0 && errno == EACCES) {
        Add(0, How::kLockFile,
            "the owner of " + entry.path().string() + ", which this user may not read");
      }
      std::ifstream file(entry.path());
      long process = 0;
      std::string program;
      if (file >> process && process > 0 && IsAlive(process)) {
        file >> program;
        Add(process, How::kLockFile, program);
      }
    }
  }

  void Locks() {
    std::ifstream locks("/proc/locks");
    for (std::string line; std::getline(locks, line);) {
      long process = 0;
      unsigned fileMajor = 0;
      unsigned fileMinor = 0;
      unsigned long inode = 0;
      if (std::sscanf(line.c_str(), "%*d: %*s %*s %*s %ld %x:%x:%lu", &process, &fileMajor,
                      &fileMinor, &inode) == 4 &&
          inode == port_.st_ino && makedev(fileMajor, fileMinor) == port_.st_dev) {
        Add(std::max(process, 0L), How::kLock);
      }
    }
  }

  void OpenDescriptors() {
    std::error_code error;
    for (const auto& entry : fs::directory_iterator("/proc", error)) {
      const long process = std::atol(entry.path().filename().c_str());
      if (process <= 0) continue;
      const fs::directory_iterator descriptors(entry.path() / "fd", error);
      if (error == std::errc::permission_denied) sawAll_ = false;
      for (const auto& descriptor : descriptors) {
        if (!IsPort(descriptor.path(), port_)) continue;
        if (!IsOtherEnd(entry.path(), port_)) Add(process, How::kOpen);
        break;
      }
    }
  }

  const std::vector<Owner>& Found() const { return found_; }
  bool SawAll() const { return sawAll_; }

 private:
  void Add(long process, How how, const std::string& program = "") {
    const auto same = [process](const Owner& owner) { return owner.process == process; };
    if (process == getpid() || std::any_of(found_.begin(), found_.end(), same)) return;
    const std::string name = ProgramOf(process);
    found_.push_back({process, name.empty() ? program : name, how});
  }

  const std::string& device_;
  const struct stat& port_;
  std::vector<Owner> found_;
  bool sawAll_ = true;
};

}  // namespace

std::string LockFileName(const std::string& path) {
  const std::string folder("/dev/");
  if (path.compare(0, folder.size(), folder) != 0) return fs::path(path).filename();
  std::string name = path.substr(folder.size());
  std::replace(name.begin(), name.end(), '/', '_');
  return name;
}

std::string Describe(const Owner& owner) {
  if (owner.process == 0) return owner.program.empty() ? "another program" : owner.program;
  const std::string process = "process " + std::to_string(owner.process);
  return owner.program.empty() ? process : owner.program + " (" + process + ")";
}

std::vector<Owner> PortOwners(const std::string& device, bool* sawAll) {
  if (sawAll != nullptr) *sawAll = true;
  const auto port = Status(device);
  if (!port || !S_ISCHR(port->st_mode)) return {};
  Search search(device, *port);
  search.LockFiles();
  search.Locks();
  search.OpenDescriptors();
  if (sawAll != nullptr) *sawAll = search.SawAll();
  return search.Found();
}

std::optional<Owner> PortOwner(const std::string& device) {
  const std::vector<Owner> owners = PortOwners(device);
  if (owners.empty()) return std::nullopt;
  return owners.front();
}
