// Brings the logged records into a file, and proves that it holds them.
#pragma once

#include <optional>
#include <string>

#include "records/proof.h"
#include "records/source.h"

struct DownloadOptions {
  std::string file;            ///< "-" is standard output
  std::string from = "begin";  ///< "begin", "pointer", a span of time, or "-7d" back
  std::string to;              ///< a span of time; empty for all
  long batch = 0;              ///< records asked for at a time; 0 finds it out
  bool twice = false;          ///< reads all two times
};

/// Told how far the records are: the time stamps of where they begin, have got to and shall end.
class DownloadObserver {
 public:
  virtual ~DownloadObserver() = default;
  virtual void Begins(const std::string& /*goal*/) {}
  virtual void Brought(const std::vector<Record>& /*records*/) {}
  virtual void Proves() {}
};

/// Appends to the file what it does not hold yet; a file that is not there is begun, with the field
/// names as its first line. Behind that it is held against the instrument, and what it lacks is
/// put into its place. The outcome tells what it holds. Throws Failure, also when it was
/// interrupted; the same download then goes on.
Outcome Download(RecordSource& source, const DownloadOptions& options, DownloadObserver& observer);

/// Holds a file against the instrument in the span of the options and changes nothing.
Outcome Prove(RecordSource& source, const DownloadOptions& options);
