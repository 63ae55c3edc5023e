#include "records/held.h"

#include <algorithm>

Held::Held(std::vector<std::string> timeStamps) {
  std::sort(timeStamps.begin(), timeStamps.end());
  for (const std::string& timeStamp : timeStamps) Add(timeStamp);
}

void Held::Add(const std::string& timeStamp) {
  const long number = Find(timeStamp);
  auto entry = stamps_.begin() + number;
  if (entry == stamps_.end() || entry->text != timeStamp) {
    entry = stamps_.insert(entry, {timeStamp, Before(number)});
  }
  for (; entry != stamps_.end(); ++entry) ++entry->through;
}

long Held::Find(const std::string& text) const {
  // Most are at the end.
  if (stamps_.empty() || stamps_.back().text < text) return Stamps();
  const auto earlier = [](const Entry& entry, const std::string& than) {
    return entry.text < than;
  };
  return std::lower_bound(stamps_.begin(), stamps_.end(), text, earlier) - stamps_.begin();
}

long Held::Between(const std::string& behind, const std::string& before) const {
  return std::max(0L, Before(Find(before)) - Before(Find(JustBehind(behind))));
}
