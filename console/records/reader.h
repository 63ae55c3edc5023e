// Asks for records and their places so that each answer is whole, or fails.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "records/record.h"
#include "records/source.h"

/// A record as it came.
struct Record {
  std::string stamp;  ///< where it stands; that of a record without one is asked for
  std::string sent;   ///< its bytes without the line end
  std::string flaw;   ///< why it is none; empty when it is one
};

class RecordReader {
 public:
  struct Batch {
    std::vector<Record> records;
    long asked =
        0;  ///< fewer than were wanted where a line end in a text, or the line, required it
    bool more = false;  ///< as many came as were asked for
  };

  /// `twice` reads every batch until two readings agree, record by record.
  RecordReader(RecordSource& source, FieldTexts names, bool twice)
      : source_(source), names_(std::move(names)), twice_(twice) {}

  /// The time stamps of the oldest and the newest record; any text for an empty table.
  std::string Oldest() { return Stepped("B"); }
  std::string Newest() { return Stepped("E"); }

  /// The time stamp of the n-th record behind a time stamp; of the newest if there are fewer, and
  /// that time stamp itself if there is none.
  std::string At(const std::string& behind, long n);

  /// The time stamp of the last record that is earlier than this text, or kBeforeAllRecords.
  std::string Before(const std::string& text);

  /// The next records behind a time stamp. One that cannot be a record comes so only when it has
  /// come so twice. Throws Failure.
  Batch Bring(const std::string& behind, long wanted);

  /// The same, but never with a part of the records of one time stamp: as many more are brought as
  /// that takes, or the last ones left out. `covered` is behind all that the instrument has so far;
  /// empty at the end of the table.
  Batch BringWhole(const std::string& behind, long wanted, std::string& covered);

  void Trust() { source_.Trust(); }
  void Set(const std::string& stamp);

 private:
  using Texts = std::vector<std::string>;
  std::string Stepped(const std::string& way);
  Texts Read(long count, long& announced);
  bool IsClean(const Texts& texts, const std::string& behind) const;
  std::optional<Texts> Agreed(const std::string& behind, long count, bool& more);
  std::vector<Record> Judge(const Texts& texts, const std::string& behind);

  RecordSource& source_;
  FieldTexts names_;
  bool twice_;
  std::optional<std::string> at_;  // where the pointer is, if that is known
};
