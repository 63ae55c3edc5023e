#include "records/reader.h"

#include <algorithm>

#include "line/failure.h"
#include "line/interrupt.h"
#include "records/held.h"

namespace {

constexpr int kTries = 3;

/// Asks once more what was not answered, or not by a whole reply, or was refused: the line may have
/// changed the request.
template <typename Asking>
auto Again(std::optional<std::string>& at, const Asking& ask) {
  for (int tries = 1;; ++tries) {
    Interrupt::Stop();
    try {
      return ask();
    } catch (const Failure& failure) {
      at.reset();
      const bool again = IsLoss(failure) || failure.status == kRefused;
      if (!again || tries == kTries) throw;
    }
  }
}

/// What two of the readings have in each place; none when in one place all differ.
std::optional<std::vector<std::string>> MostOf(const std::vector<std::vector<std::string>>& reads) {
  std::vector<std::string> most = reads.back();
  for (std::size_t i = 0; i < most.size(); ++i) {
    const auto votes = [&](const std::string& text) {
      return std::count_if(reads.begin(), reads.end(), [&](const auto& read) {
        return read.size() == most.size() && read[i] == text;
      });
    };
    const auto agreed = std::find_if(reads.begin(), reads.end(), [&](const auto& read) {
      return read.size() == most.size() && votes(read[i]) >= 2;
    });
    if (agreed == reads.end()) return std::nullopt;
    most[i] = (*agreed)[i];
  }
  return most;
}

}  // namespace

void RecordReader::Set(const std::string& stamp) {
  if (at_ == stamp) return;
  at_.reset();
  source_.Set(stamp);
  at_ = stamp;
}

std::string RecordReader::Stepped(const std::string& way) {
  return Again(at_, [&] {
    at_.reset();
    source_.Step(way);
    at_ = source_.Get();
    return *at_;
  });
}

std::string RecordReader::At(const std::string& behind, long n) {
  if (n == 0) return behind;
  return Again(at_, [&] {
    Set(behind);
    at_.reset();
    source_.Step(std::to_string(n));
    at_ = source_.Get();
    return *at_;
  });
}

std::string RecordReader::Before(const std::string& text) {
  const std::string before = At(text, -1);
  return before < text ? before : kBeforeAllRecords;
}

/// The texts of the records: a line that begins with no date and time belongs to the one before it.
RecordReader::Texts RecordReader::Read(long count, long& announced) {
  RecordSource::Batch batch = source_.Next(count);
  announced = static_cast<long>(batch.lines.size());
  Texts texts;
  const auto add = [&](const std::string& line) {
    const std::string flaw = FlawOf(SplitSent(line), names_);
    const bool begins = announced > 1 && flaw != "no date" && flaw != "no time";
    if (texts.empty() || begins) {
      texts.push_back(line);
    } else {
      texts.back() += "\r\n" + line;
    }
  };
  for (const std::string& line : batch.lines) add(line);
  std::size_t begin = 0;
  for (std::size_t end = 0; begin < batch.rest.size(); begin = end + 2) {
    end = std::min(batch.rest.find("\r\n", begin), batch.rest.size());
    add(batch.rest.substr(begin, end - begin));
  }
  return texts;
}

bool RecordReader::IsClean(const Texts& texts, const std::string& behind) const {
  std::string latest = JustBehind(behind);
  for (const std::string& text : texts) {
    const std::string stamp = TimeStamp(text);
    if (!FlawOf(SplitSent(text), names_).empty() || stamp < latest) return false;
    latest = stamp;
  }
  return true;
}

/// A reading without a flaw, or what readings agree in; none when they do not, or when what came is
/// not as many records as were announced.
std::optional<RecordReader::Texts> RecordReader::Agreed(const std::string& behind, long count,
                                                        bool& more) {
  std::vector<Texts> reads;
  for (int tries = 0; tries < (count == 1 ? 2 * kTries : kTries); ++tries) {
    long announced = 0;
    Texts texts = Again(at_, [&] {
      Set(behind);
      at_.reset();
      return Read(count, announced);
    });
    more = announced == count;
    if (static_cast<long>(texts.size()) != announced) continue;
    const bool clean = IsClean(texts, behind);
    if (clean) at_ = texts.empty() ? behind : TimeStamp(texts.back());
    if (clean && !twice_) return texts;
    reads.push_back(std::move(texts));
    if (reads.size() == 1) continue;
    if (auto most = MostOf(reads)) return most;
  }
  return std::nullopt;
}

std::vector<Record> RecordReader::Judge(const Texts& texts, const std::string& behind) {
  std::vector<Record> records;
  for (const std::string& text : texts) {
    Record record{TimeStamp(text), text, FlawOf(SplitSent(text), names_)};
    if (record.flaw == "no date" || record.flaw == "no time") {
      record.stamp = At(records.empty() ? behind : records.back().stamp, 1);
    }
    // Nothing else is behind it: what came is not in the order of its time stamps.
    if (record.stamp > behind) records.push_back(std::move(record));
  }
  if (records.empty() && !texts.empty()) {
    throw Failure(kBroken, "Behind " + behind +
                               " the instrument gives earlier records, and so never comes to later "
                               "ones: its table is not ordered by the text of its time stamps.");
  }
  return records;
}

RecordReader::Batch RecordReader::Bring(const std::string& behind, long wanted) {
  Batch batch;
  for (batch.asked = wanted; batch.asked > 0; batch.asked /= 2) {
    const auto texts = Agreed(behind, batch.asked, batch.more);
    if (!texts) continue;
    batch.records = Judge(*texts, behind);
    return batch;
  }
  throw Failure(kBroken, "The record behind " + behind + " comes differently each time.");
}

RecordReader::Batch RecordReader::BringWhole(const std::string& behind, long wanted,
                                             std::string& covered) {
  for (;; wanted *= 2) {
    Batch batch = Bring(behind, wanted);
    covered.clear();
    if (!batch.more) return batch;
    covered = batch.records.back().stamp;
    Batch all = batch;
    while (!batch.records.empty() && batch.records.back().stamp == covered) {
      batch.records.pop_back();
    }
    if (!batch.records.empty()) return batch;
    // Where no more can be brought at a time, this is all.
    if (batch.asked < wanted) {
      covered = JustBehind(covered);
      return all;
    }
  }
}
