// The page of the records: plots, data capture, gaps, in one file that opens anywhere.
#pragma once

#include <string>
#include <utility>
#include <vector>

struct RecordPageOptions {
  std::vector<std::string> files;
  std::string
      page;  ///< "" is the first file's name with .html in place of .csv; "-" standard output
};

/// What else is told, as names and texts: of the instrument, of the proof.
using Facts = std::vector<std::pair<std::string, std::string>>;

/// Writes the page, into a new file that takes the place of the old one in one step. Returns its
/// path. Throws Failure(kUsage).
std::string WriteRecordPage(const RecordPageOptions& options, const Facts& instrument,
                            const std::string& proof);
