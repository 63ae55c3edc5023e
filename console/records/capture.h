// What share of the records is there: the interval in which the instrument logs, as the records
// show it, and the gaps against it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// Milliseconds since 1970, as the clock went that the time stamp tells: no time zone is known.
using Moment = std::int64_t;

constexpr Moment kSecond = 1000;
constexpr Moment kDay = 86400 * kSecond;

/// "2009-06-30", "2009-06-30 14:00:00" or "2009-06-30 14:00:00.25"; nothing for another text, or
/// for a date that the calendar does not have.
std::optional<Moment> MomentOf(const std::string& timeStamp);

/// "2009-06-30 14:00:00", with a fraction where there is one.
std::string TimeStampOf(Moment moment);

/// A stretch in which records are missing.
struct Gap {
  Moment from;           ///< the record before it
  Moment to;             ///< the record behind it
  std::int64_t missing;  ///< how many the interval would have had between them
};

/// A day, or a run of days without any record; a month.
struct Share {
  std::string from;  ///< "2009-06-30", or "2009-06"
  std::string to;    ///< the same but for a run of days
  std::int64_t present;
  std::int64_t missing;
  double Percent() const {
    return 100.0 * static_cast<double>(present) / static_cast<double>(present + missing);
  }
};

class Capture {
 public:
  /// Takes the moments of all records, in their order. A moment that comes again, or before the one
  /// before it, makes no gap and no step.
  explicit Capture(const std::vector<Moment>& moments);

  /// Milliseconds, the most frequent step from one record to the next; 0 when there is none.
  std::int64_t Interval() const { return interval_; }
  const std::vector<Gap>& Gaps() const { return gaps_; }
  const std::vector<Share>& Days() const { return days_; }
  const std::vector<Share>& Months() const { return months_; }
  Share All() const;

 private:
  std::int64_t interval_ = 0;
  std::vector<Gap> gaps_;
  std::vector<Share> days_;
  std::vector<Share> months_;
};
