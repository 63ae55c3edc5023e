// The records of an instrument as the gateway gives them: in the order of their time stamps, from a
// position on that is a time stamp too, the database pointer.
#pragma once

#include <string>
#include <vector>

class RecordSource {
 public:
  struct Batch {
    std::vector<std::string> lines;  ///< as many as were announced, without their line ends
    std::string rest;                ///< bytes behind them: a text in a record has a line end
  };

  virtual ~RecordSource() = default;

  /// The names of the fields, with commas.
  virtual std::string Header() = 0;

  /// Puts the pointer to a time stamp, which need not be a record's.
  virtual void Set(const std::string& timeStamp) = 0;

  virtual std::string Get() = 0;

  /// Moves it to the oldest record ("B"), to the newest ("E"), or by a number of records: to the
  /// n-th that is later than the pointer or, with a minus sign, earlier; to the last one that way
  /// if there are fewer. Where there is none it stays.
  virtual void Step(const std::string& way) = 0;

  /// The next records that are later than the pointer, which goes to the last of them. Of several
  /// with one time stamp any come first.
  virtual Batch Next(long count) = 0;

  /// What Get returned before was seen to be a record's time stamp: it is the pointer for sure.
  virtual void Trust() {}

  /// The pointer is to stay where it is now, and not to be put back to where it was at first.
  virtual void Stay() {}
};

/// Earlier than the time stamp of every record.
constexpr char kBeforeAllRecords[] = "0001-01-01 00:00:00";
