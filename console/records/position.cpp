#include "records/position.h"

#include <algorithm>

#include "line/failure.h"
#include "line/shape.h"

std::string TimeStamp(const std::string& record) {
  const std::size_t date = record.find(',');
  if (date == std::string::npos) return record;
  const std::string time = record.substr(date + 1, record.find(',', date + 1) - date - 1);
  return record.substr(0, date) + (time.empty() ? "" : " " + time);
}

bool IsRecord(const std::string& record, const std::string& header) {
  const std::string stamp = TimeStamp(record);
  const std::string date = stamp.substr(0, 10);
  const std::string time = stamp.substr(date.size());
  const bool timed =
      HasShape(time.substr(0, 9), " 00:00:00") && (time.size() == 9 || time[9] == '.');
  const auto commas = [](const std::string& text) {
    return std::count(text.begin(), text.end(), ',');
  };
  // A table of time stamps alone is sent without a comma.
  return HasShape(date, "0000-00-00") && (timed || time.empty()) &&
         (commas(record) >= commas(header) || commas(record) == 0);
}

bool Position::Take(const std::string& record) {
  const std::string timeStamp = TimeStamp(record);
  if (timeStamp < newest_) {
    throw Failure(kBroken, "A record of " + timeStamp + " comes after one of " + newest_ +
                               ": the instrument's clock was set back, or the line changed a byte "
                               "of one of them.");
  }
  if (timeStamp == newest_) {
    const auto known = again_.find(record);
    if (known != again_.end()) {
      again_.erase(known);
      return false;
    }
  } else {
    if (!newest_.empty()) pointer_ = newest_;
    newest_ = timeStamp;
    atNewest_.clear();
    again_.clear();
  }
  atNewest_.insert(record);
  return true;
}
