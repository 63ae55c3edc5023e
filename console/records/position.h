// How far a download has got.
#pragma once

#include <set>
#include <string>

/// Earlier than the time stamp of every record.
constexpr char kBeforeAllRecords[] = "0001-01-01 00:00:00";

/// Knows which records were taken, so that none is taken twice or passed over: several records may
/// have one time stamp, and the database pointer, itself a time stamp, cannot stand between them.
/// It is therefore set to the last time stamp but one, and what comes again is told apart here.
class Position {
 public:
  explicit Position(std::string start) : pointer_(std::move(start)) {}

  /// Where the database pointer must be for the next batch.
  const std::string& Pointer() const { return pointer_; }

  /// Time stamp of the newest record taken.
  const std::string& Newest() const { return newest_; }

  /// To be called before the records of each batch.
  void BeginBatch() { again_ = atNewest_; }

  /// Whether the record is to be taken, or was taken before. Throws Failure(kBroken) for one that
  /// is older than the newest.
  bool Take(const std::string& record);

 private:
  std::string pointer_;
  std::string newest_;
  std::multiset<std::string> atNewest_;  // the records taken that have the newest time stamp
  std::multiset<std::string> again_;     // those of them that this batch has not yet brought again
};
