#include "position.h"

std::string TimeStamp(const std::string& record) {
  const std::size_t date = record.find(',');
  if (date == std::string::npos) return record;
  const std::size_t time = date + 1;
  return record.substr(0, date) + " " + record.substr(time, record.find(',', time) - time);
}

bool Position::Take(const std::string& record) {
  const std::string timeStamp = TimeStamp(record);
  if (timeStamp < newest_) return false;
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
