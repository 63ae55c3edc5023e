#include "records/counting.h"

#include <algorithm>

#include "records/crowds.h"

bool Counting::Agrees() {
  doubt_.clear();
  oldest_ = reader_.Oldest();
  if (held_.Of(oldest_) > 0) reader_.Trust();
  const long end = held_.Find(window_.before);
  const long begin = std::min(end, held_.Find(std::max(JustBehind(window_.behind), oldest_)));
  if (end - begin < 2) return false;
  const std::string& top = held_.Stamp(end - 1);
  const std::string& previous = held_.Stamp(end - 2);
  // Up to the last time stamp but one there are no fewer. There stepping goes no further, whether
  // records are there or not: the last one's are brought.
  const std::string from = std::max(window_.behind, oldest_);
  const std::string at = reader_.At(from, held_.Between(from, top));
  exceeding_ = at > std::max(from, previous);
  if (at != std::max(from, previous)) return false;
  const long atTop = held_.Before(end) - held_.Before(end - 1);
  long brought = 0;
  for (const Record& record : reader_.Bring(previous, atTop + 1).records) {
    if (record.stamp >= window_.before) break;
    if (++brought > atTop || record.stamp != top) return false;
  }
  if (brought < atTop) return false;
  // And no more.
  const long below = held_.Before(end - 1) - held_.Before(begin);
  if (reader_.At(window_.behind, below + 1) != top) return false;
  // What one part has too many, another may have too few.
  for (const Crowd& crowd : Crowds(held_, begin, end - 1)) {
    for (const long stamp : {crowd.begin, crowd.end}) {
      const long before = held_.Before(stamp) - held_.Before(begin);
      if (reader_.At(window_.behind, before + 1) == held_.Stamp(stamp)) continue;
      doubt_ = held_.Stamp(stamp);
      return false;
    }
  }
  return true;
}

std::optional<Window> Counting::NextDifference(const std::string& behind) {
  auto found = DifferenceBefore(behind, window_.before);
  if (!found && doubt_ > behind) found = DifferenceBefore(behind, doubt_);
  if (!found && doubt_ > behind) found = DifferenceBefore(behind, JustBehind(doubt_));
  return found;
}

std::optional<Window> Counting::DifferenceBefore(const std::string& behind,
                                                 const std::string& before) {
  // Behind the newest record stepping goes no further: the rest is brought.
  if (newest_.empty()) newest_ = reader_.Newest();
  const std::string bound = std::max(behind, std::min(before, newest_));
  const long begin = held_.Find(std::max(JustBehind(behind), oldest_));
  const long end = std::max(begin, held_.Find(bound));
  const auto records = [&](long stamp) { return held_.Before(stamp) - held_.Before(begin); };
  const auto limit = [&](long stamp) { return stamp == end ? bound : held_.Stamp(stamp); };
  std::string last;  // the n-th record behind `behind`, with the n that was asked for last
  long lastN = 0;
  const auto place = [&](long n, bool quick) {
    // From a record of which there are not several, and not from the last, where others have
    // stopped.
    last = quick && last < newest_ && held_.Of(last) < 2 ? reader_.At(last, n - lastN)
                                                         : reader_.At(behind, n);
    lastN = n;
    return last > behind ? last : before;
  };
  // Whether the instrument has more records, or fewer, in front of a time stamp than the file.
  std::string at;
  const auto lacks = [&](long stamp, bool quick) {
    return (at = place(records(stamp) + 1, quick)) < limit(stamp);
  };
  const auto exceeds = [&](long stamp, bool quick) {
    return records(stamp) > 0 && place(records(stamp), quick) >= limit(stamp);
  };
  const bool exceeding = exceeding_ && exceeds(end, false);
  exceeding_ = false;
  const bool lacking = !exceeding && lacks(end, false);
  if (!exceeding && !lacking && !exceeds(end, false)) {
    return newest_ < before ? DifferenceAtEnd(end > begin ? held_.Stamp(end - 1) : behind, before)
                            : std::nullopt;
  }
  long same = lacking ? begin - 1 : begin;
  long other = end;
  const auto found = [&](long stamp) {
    // No file that has fewer records up to here can have as many.
    other = lacking ? std::clamp(held_.Find(JustBehind(at)), same + 1, stamp) : stamp;
  };
  found(end);
  while (other - same > 1 && records(other) - records(std::max(same, begin)) > kFew) {
    const long middle = (same + other) / 2;
    if (lacking ? lacks(middle, quick_) : exceeds(middle, quick_)) {
      found(middle);
    } else {
      same = middle;
    }
  }
  return Window{same > begin ? held_.Stamp(same - 1) : behind, limit(other)};
}

/// Where the instrument has no later records than those of its newest time stamp.
std::optional<Window> Counting::DifferenceAtEnd(const std::string& behind,
                                                const std::string& before) {
  const long records = held_.Between(behind, before);
  long brought = 0;
  for (const Record& record : reader_.Bring(behind, records + 1).records) {
    brought += record.stamp < before ? 1 : 0;
  }
  return brought == records ? std::nullopt : std::optional<Window>({behind, before});
}
