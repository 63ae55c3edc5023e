// Files that are on the disk for sure, or an error tells why not.
#pragma once

#include <string>

/// A file to be written. Throws Failure(kUsage), "NAME cannot be written: " and the system's
/// reason.
class DiskFile {
 public:
  enum class How {
    kAppend,  ///< keeps what is there
    kNew      ///< begins anew; gone with the object unless it took another's place
  };
  DiskFile(std::string name, How how);
  ~DiskFile();
  DiskFile(const DiskFile&) = delete;
  DiskFile& operator=(const DiskFile&) = delete;

  void Write(const std::string& bytes);

  /// Returns when all that was written is on the disk.
  void Settle();

  void CutTo(long long size);
  long long Size() const;

  /// Whether its name still leads to it.
  bool IsInPlace() const;

  /// Takes owner and mode from a file, and then its name, in one step.
  void TakePlaceOf(const std::string& name);

 private:
  [[noreturn]] void Fail() const;

  std::string name_;
  int descriptor_;
  bool kept_;
};
