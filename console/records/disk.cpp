#include "records/disk.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "line/failure.h"

DiskFile::DiskFile(std::string name, How how)
    : name_(std::move(name)),
      descriptor_(open(name_.c_str(),
                       O_WRONLY | O_CREAT | O_CLOEXEC | O_APPEND | (how == How::kNew ? O_TRUNC : 0),
                       0666)),
      kept_(how == How::kAppend) {
  if (descriptor_ < 0) Fail();
}

DiskFile::~DiskFile() {
  close(descriptor_);
  if (!kept_) unlink(name_.c_str());
}

void DiskFile::Fail() const {
  throw Failure(kUsage, name_ + " cannot be written: " + std::strerror(errno) + ".");
}

void DiskFile::Write(const std::string& bytes) {
  for (std::size_t written = 0; written < bytes.size();) {
    const ssize_t count = write(descriptor_, bytes.data() + written, bytes.size() - written);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) Fail();
    written += static_cast<std::size_t>(count);
  }
}

void DiskFile::Settle() {
  if (fsync(descriptor_) != 0) Fail();
}

void DiskFile::CutTo(long long size) {
  if (ftruncate(descriptor_, size) != 0) Fail();
}

long long DiskFile::Size() const {
  struct stat status {};
  if (fstat(descriptor_, &status) != 0) Fail();
  return status.st_size;
}

bool DiskFile::IsInPlace() const {
  struct stat here {};
  struct stat there {};
  return fstat(descriptor_, &here) == 0 && stat(name_.c_str(), &there) == 0 &&
         here.st_ino == there.st_ino && here.st_dev == there.st_dev;
}

void DiskFile::TakePlaceOf(const std::string& name) {
  struct stat old {};
  if (stat(name.c_str(), &old) == 0) {
    // Who may not give files away keeps the new one.
    if (fchown(descriptor_, old.st_uid, old.st_gid) != 0) errno = 0;
    if (fchmod(descriptor_, old.st_mode & 07777) != 0) Fail();
  }
  Settle();
  if (std::rename(name_.c_str(), name.c_str()) != 0) Fail();
  kept_ = true;
  // The new name is on the disk when its folder is.
  const std::string folder = std::filesystem::path(name).parent_path();
  const int parent = open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_CLOEXEC);
  if (parent >= 0) {
    fsync(parent);
    close(parent);
  }
}
