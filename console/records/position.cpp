#include "records/position.h"

#include "line/failure.h"
#include "records/record.h"

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
