// Proof by counting: a time stamp n records behind another tells how many records lie between them,
// without bringing one. A file that has as many holds them all.
#pragma once

#include <optional>
#include <string>

#include "records/held.h"
#include "records/reader.h"

/// What is counted: records later than `behind` and earlier than `before`, two texts.
struct Window {
  std::string behind;
  std::string before;
};

class Counting {
 public:
  /// A quick one may lead to a wrong place where time stamps have several records, but does not
  /// take a file for whole that is not.
  Counting(RecordReader& reader, const Held& held, Window window, bool quick)
      : reader_(reader), held_(held), window_(std::move(window)), quick_(quick) {}

  /// Whether the numbers agree in the whole window, but for records older than the oldest of the
  /// instrument, in as few requests as will do; false also where the file is too small for that.
  bool Agrees();

  /// The first part of the window behind this text in which they do not; with at most `kFew`
  /// records of the file, unless more have one time stamp.
  std::optional<Window> NextDifference(const std::string& behind);

  static constexpr long kFew = 32;

  /// The instrument's oldest record, as Agrees has found it; the window begins no earlier.
  const std::string& Oldest() const { return oldest_; }

 private:
  std::optional<Window> DifferenceBefore(const std::string& behind, const std::string& before);
  std::optional<Window> DifferenceAtEnd(const std::string& behind, const std::string& before);

  RecordReader& reader_;
  const Held& held_;
  Window window_;
  bool quick_;
  std::string oldest_;
  std::string newest_;
  bool exceeding_ = false;  // the file is likely to have more
  std::string doubt_;       // in front of this time stamp numbers differ, although not in the whole
};
