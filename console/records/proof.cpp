#include "records/proof.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "line/failure.h"
#include "records/capture.h"

namespace {

constexpr int kMostRounds = 20;
constexpr int kMostUnexplained = 3;
constexpr std::size_t kMostParts = 20;

/// Milliseconds from one record to the next, on average.
double Spacing(const std::vector<Record>& records) {
  const auto begin = MomentOf(records.front().stamp);
  const auto end = MomentOf(records.back().stamp);
  const double span = begin && end ? static_cast<double>(*end - *begin) : 0;
  return span > 0 ? span / static_cast<double>(records.size() - 1) : 1;
}

void Extend(Part& part, const std::string& stamp, long lacks, long more) {
  part.from = part.from.empty() ? stamp : std::min(part.from, stamp);
  part.to = std::max(part.to, stamp);
  part.lacks += lacks;
  part.more += more;
}

}  // namespace

Outcome Proof::Run(bool mend) {
  int unexplained = 0;
  for (int round = 0; round < kMostRounds; ++round) {
    changed_ = false;
    if (Compare(mend, unexplained == 0)) return Summary(unreached_.empty());
    if (changed_) continue;
    // A number may have come wrongly.
    if (!parts_.empty() || ++unexplained == kMostUnexplained) break;
  }
  return Summary(false);
}

/// One round. Returns whether nothing is left to be settled.
bool Proof::Compare(bool mend, bool quick) {
  parts_.clear();
  oldestGone_ = 0;
  Counting counting(reader_, store_.Holds(), window_, quick);
  const bool agrees = counting.Agrees();
  oldest_ = counting.Oldest();
  unreached_ = Unreached();
  bool settled = true;
  std::string behind = window_.behind;
  while (!agrees && behind < window_.before) {
    const auto difference = counting.NextDifference(behind);
    if (!difference) break;
    if (parts_.size() == kMostParts) {
      parts_.back().atLeast = true;
      return false;
    }
    const std::string oldest = oldest_;
    const long gone = oldestGone_;
    part_ = {};
    behind = CompareFrom(*difference, mend);
    if (!part_.from.empty()) parts_.push_back(part_);
    settled = settled && part_.from.empty() && oldestGone_ > gone;
    if (oldest_ == oldest) continue;
    changed_ = true;  // The table was cleared, or has older records now: all numbers are others.
    return false;
  }
  return settled;
}

/// The time stamp of records that are earlier than all positions, such as 0000-00-00.
std::string Proof::Unreached() {
  if (window_.behind != kBeforeAllRecords || oldest_ >= kBeforeAllRecords) return "";
  // In an empty table it tells where the pointer was.
  reader_.At(kBeforeAllRecords, 1);
  const std::string oldest = reader_.Oldest();
  return oldest < kBeforeAllRecords ? oldest : "";
}

/// From a difference on as far as records differ. Returns the time stamp up to which they were
/// compared.
std::string Proof::CompareFrom(const Window& difference, bool mend) {
  std::string behind = difference.behind;
  std::string from = JustBehind(behind);
  if (!store_.IsFile()) {
    part_ = {behind, difference.before};
    return difference.before;
  }
  flushed_ = std::chrono::steady_clock::now();
  try {
    for (bool differs = true; from < difference.before || differs;) {
      pace_.Start();
      std::string covered;
      std::vector<Record> records = reader_.BringWhole(behind, pace_.Records(), covered).records;
      pace_.Took(static_cast<long>(records.size()));
      const bool end = covered.empty() || covered >= window_.before;
      if (end) covered = window_.before;
      while (end && !records.empty() && records.back().stamp >= covered) records.pop_back();
      std::vector<std::string> others;
      std::vector<Record> missing = store_.Missing(records, from, covered, others);
      const bool all = missing.size() == records.size();
      // Unless a record as old is there, the table may have been cleared just now.
      const bool older =
          !records.empty() && !others.empty() && records[0].stamp <= TimeStamp(others[0]);
      if (!others.empty() && !older) oldest_ = reader_.Oldest();
      differs = Judge(std::move(missing), others, mend);
      behind = end ? window_.before : records.back().stamp;
      from = covered;
      if (end) break;
      if (!mend && all && from < difference.before) {
        behind = CountRest(behind, difference.before, Spacing(records));
        break;
      }
    }
  } catch (const Failure&) {
    Flush();
    throw;
  }
  Flush();
  return behind;
}

/// Takes what is missing, or notes it; notes what the instrument does not have.
bool Proof::Judge(std::vector<Record> missing, const std::vector<std::string>& others, bool mend) {
  bool differs = !missing.empty();
  for (const std::string& line : others) {
    const std::string stamp = TimeStamp(line);
    oldestGone_ += stamp == oldest_ ? 1 : 0;
    if (stamp <= oldest_) continue;
    Extend(part_, stamp, 0, 1);
    differs = true;
  }
  if (!mend) {
    for (const Record& record : missing) Extend(part_, record.stamp, 1, 0);
    return differs;
  }
  changed_ = changed_ || !missing.empty();
  pending_.insert(pending_.end(), missing.begin(), missing.end());
  // A new file for each batch would be too many.
  if (std::chrono::steady_clock::now() - flushed_ > std::chrono::seconds(30)) Flush();
  return differs;
}

void Proof::Flush() {
  flushed_ = std::chrono::steady_clock::now();
  if (!pending_.empty()) store_.Add(std::exchange(pending_, {}));
}

/// How many records there are up to a text, none of which the file has: a guess tells that often,
/// as they are logged at regular intervals. Returns the time stamp of the last of them.
std::string Proof::CountRest(const std::string& behind, const std::string& before, double spacing) {
  long fewer = 0;  // so many there are
  long more = 0;   // so many there are not, if that is known
  std::string last = behind;
  for (int probes = 0; more != fewer + 1; ++probes) {
    const auto reached = MomentOf(last);
    const auto end = MomentOf(before);
    const double left = reached && end ? static_cast<double>(*end - *reached) : 0;
    long guess = fewer + std::max(1L, std::lround(std::min(left / spacing, 1e9)) - 1);
    if (probes > 5) guess = more > 0 ? (fewer + more) / 2 : 2 * fewer + 1;
    if (more > 0) guess = std::clamp(guess, fewer + 1, more - 1);
    const std::string at = reader_.At(behind, guess);
    if (at > behind && at < before) {
      fewer = guess;
      last = at;
    } else {
      more = guess;
    }
  }
  Extend(part_, last, fewer - store_.Holds().Between(behind, before), 0);
  return last;
}

Outcome Proof::Summary(bool whole) const {
  const Held& held = store_.Holds();
  Outcome outcome;
  outcome.whole = whole;
  outcome.parts = parts_;
  outcome.unreached = unreached_;
  outcome.unclear = store_.Unclear();
  outcome.older =
      std::max(0L, held.Between(window_.behind, std::min(oldest_, window_.before))) + oldestGone_;
  for (const Record& record : store_.Rejected()) {
    // One that is older than the oldest is counted with those.
    const bool counts =
        record.stamp > window_.behind && record.stamp >= oldest_ && record.stamp < window_.before;
    outcome.rejected += counts ? 1 : 0;
  }
  outcome.records = held.Between(window_.behind, window_.before) - outcome.older - outcome.rejected;
  const long end = held.Find(window_.before);
  const long begin = held.Find(JustBehind(window_.behind));
  if (end > begin) outcome.newest = held.Stamp(end - 1);
  if (end > begin && window_.behind != kBeforeAllRecords) outcome.oldest = held.Stamp(begin);
  std::vector<Moment> moments;
  for (long i = begin; i < end; ++i) {
    const auto moment = MomentOf(held.Stamp(i));
    if (moment)
      moments.insert(moments.end(), static_cast<std::size_t>(held.Before(i + 1) - held.Before(i)),
                     *moment);
  }
  outcome.capture = Capture(moments);
  return outcome;
}
