// A file of records that download wrote: the names of the fields, then a record a line, in the
// order of their time stamps.
#pragma once

#include <cstdint>
#include <fstream>
#include <string>

#include "records/record.h"

/// What to do about a file that another program has written over.
constexpr char kWorkOnACopy[] = "let the download have its file, and work on a copy.";

/// Reads a file line by line, however large it is. A record is one line, also where a text has
/// quotation marks.
class RecordFile {
 public:
  struct Line {
    std::string text;        ///< without its line end
    long number = 0;         ///< the header has 1
    std::uintmax_t end = 0;  ///< bytes of the file up to the end of the line
    bool whole = false;      ///< false for the last line when it was cut off: it has no line end
  };

  /// Opens it and reads the header. Throws Failure(kUsage) when it cannot be read or is no plain
  /// file.
  explicit RecordFile(std::string path);

  /// The first line; an empty file has an empty one that is not whole.
  const Line& Header() const { return header_; }
  const FieldTexts& Names() const { return names_; }

  /// The next line behind the header; false at the end of the file. Throws Failure(kUsage) when the
  /// disk does not give it.
  bool Next(Line& line);

  /// Whether lines up to here ended in CR LF, as download never writes them: another program has
  /// written the file.
  bool HasCarriageReturns() const { return carriageReturns_; }

  /// Throws Failure(kUsage) when the line is no record of this file, which tells why and where.
  void Require(const Line& line) const;

 private:
  std::string path_;
  std::ifstream file_;
  Line header_;
  FieldTexts names_;
  long lines_ = 0;
  std::uintmax_t bytes_ = 0;
  bool carriageReturns_ = false;
};
