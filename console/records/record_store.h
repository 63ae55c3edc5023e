// The file that a download keeps, and FILE.rejected beside it, which keeps what cannot be a record.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "records/disk.h"
#include "records/held.h"
#include "records/reader.h"

/// Whatever happens, the file is the old one or a longer one: it grows by whole lines, which are on
/// the disk before anything else is asked for, and what belongs between them goes into a new file
/// that takes its place in one step.
class RecordStore {
 public:
  /// Reads what is there; changes nothing. Throws Failure(kUsage) when the file cannot be read or
  /// is none of records with this header, which may be cut off; with an empty header any will do.
  /// "-" is standard output.
  RecordStore(std::string path, std::string header);

  bool IsFile() const { return path_ != "-"; }
  bool IsThere() const { return size_ > 0; }
  const std::string& Path() const { return path_; }
  const FieldTexts& Names() const { return names_; }

  /// Records of the file and of those rejected.
  const Held& Holds() const { return held_; }

  /// Those of FILE.rejected alone.
  const std::vector<Record>& Rejected() const { return rejected_; }

  /// Records that were added now and have more commas than the header has names.
  long Unclear() const { return unclear_; }

  /// Opens the file for writing: cuts off a line that is not whole, begins it if it is not there.
  void Begin();

  /// Adds records in their places. Only the end of standard output can be added to. Throws
  /// Failure(kUsage).
  void Add(const std::vector<Record>& records);

  /// Of these, which are all that the instrument has from one text up to another: those that are
  /// not held. The file's lines that are none of them are left in `others`.
  std::vector<Record> Missing(const std::vector<Record>& records, const std::string& from,
                              const std::string& before, std::vector<std::string>& others) const;

 private:
  void Read();
  void ReadRejected();
  void Append(const std::string& lines);
  void Insert(std::vector<Record> records);
  void Reject(const std::vector<Record>& records);

  std::string path_;
  std::string header_;
  FieldTexts names_;
  Held held_;
  std::vector<Record> rejected_;
  std::string newest_;  // of the file alone
  long long size_ = 0;  // bytes of whole lines
  long long rejectedSize_ = 0;
  long unclear_ = 0;
  std::optional<DiskFile> file_;
};
