// Holds a file against the instrument: finds what it lacks, brings it if that is wanted, and says
// what cannot be settled.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "records/capture.h"
#include "records/counting.h"
#include "records/pace.h"
#include "records/reader.h"
#include "records/record_store.h"

/// Where file and instrument differ.
struct Part {
  std::string from;  ///< time stamps of the first and the last record that it is about
  std::string to;
  long lacks = 0;        ///< records of the instrument that the file lacks
  long more = 0;         ///< lines of the file for which the instrument has no record
  bool atLeast = false;  ///< there are more of them
};

struct Outcome {
  bool whole = false;
  long records = 0;         ///< of the instrument that the file holds
  long older = 0;           ///< that the file holds and the instrument no longer has
  long rejected = 0;        ///< of the instrument that cannot be records
  long unclear = 0;         ///< brought now, with more commas than there are fields
  std::string oldest;       ///< time stamp of the oldest, if it is not from the beginning on
  std::string unreached;    ///< time stamp of records that no position is before; mostly none
  std::string newest;       ///< time stamp of the newest that the file holds
  Capture capture{{}};      ///< how regularly they were logged
  std::vector<Part> parts;  ///< empty when numbers differ and no record tells why
};

class Proof {
 public:
  Proof(RecordReader& reader, RecordStore& store, Window window, Pace& pace)
      : reader_(reader), store_(store), window_(std::move(window)), pace_(pace) {}

  /// Finds the parts in which file and instrument differ; the file stays as it is.
  Outcome Find() { return Run(false); }

  /// Brings what the file lacks, until it holds all, or what is left cannot be settled.
  Outcome Mend() { return Run(true); }

 private:
  Outcome Run(bool mend);
  bool Compare(bool mend, bool quick);
  std::string Unreached();
  std::string CompareFrom(const Window& difference, bool mend);
  bool Judge(std::vector<Record> missing, const std::vector<std::string>& others, bool mend);
  std::string CountRest(const std::string& behind, const std::string& before, double spacing);
  void Flush();
  Outcome Summary(bool whole) const;

  RecordReader& reader_;
  RecordStore& store_;
  Window window_;
  Pace& pace_;
  std::string oldest_;
  std::string unreached_;
  long oldestGone_ = 0;  // records of the oldest time stamp that are gone
  Part part_;            // the one at hand, and those before it
  std::vector<Part> parts_;
  bool changed_ = false;         // this round the file was mended, or the table was cleared
  std::vector<Record> pending_;  // brought, but not yet in the file
  std::chrono::steady_clock::time_point flushed_;
};
