#include "records/download.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "line/failure.h"
#include "records/capture.h"
#include "records/pace.h"
#include "records/reader.h"
#include "records/record_store.h"
#include "records/span.h"

namespace {

constexpr char kBegin[] = "begin";
constexpr char kPointer[] = "pointer";

/// Behind the time stamps of all records.
constexpr char kAfterAllRecords[] = "\x7f";

/// Throws Failure(kUsage), before anything is asked for.
void Check(const DownloadOptions& options) {
  if (options.from != kBegin && options.from != kPointer && !SpanOf(options.from) &&
      !BackOf(options.from)) {
    throw Failure(kUsage,
                  "--from takes begin, pointer, a time stamp such as '2009-06-30 14:00:00', "
                  "2009-06-30 or 2009-06, or how far back from the newest record, such as -7d.");
  }
  if (!options.to.empty() && !SpanOf(options.to)) {
    throw Failure(kUsage,
                  "--to takes a time stamp such as '2009-06-30 14:00:00', 2009-06-30 or 2009-06.");
  }
}

/// Where a download from the pointer began, kept beside its file until it is done: the pointer
/// itself moves on.
class Beginning {
 public:
  explicit Beginning(const std::string& file) : path_(file + ".begin") {}

  std::string Read() const {
    std::string pointer;
    std::ifstream kept(path_);
    std::getline(kept, pointer);
    return pointer;
  }
  void Keep(const std::string& pointer) const {
    DiskFile file(path_, DiskFile::How::kAppend);
    file.CutTo(0);
    file.Write(pointer);
    file.Settle();
  }
  void Done() const { std::filesystem::remove(path_); }

 private:
  std::string path_;
};

bool HaveSeveral(const std::vector<Record>& records) {
  const auto same = [](const Record& a, const Record& b) { return a.stamp == b.stamp; };
  return std::adjacent_find(records.begin(), records.end(), same) != records.end();
}

/// Leaves out the records of the last time stamp, of which there may be more.
void DropLast(std::vector<Record>& records) {
  const std::string last = records.back().stamp;
  while (!records.empty() && records.back().stamp == last) records.pop_back();
}

class Work {
 public:
  Work(RecordSource& source, const DownloadOptions& options, RecordStore& store,
       DownloadObserver& observer)
      : source_(source),
        options_(options),
        store_(store),
        observer_(observer),
        beginning_(store.Path()),
        reader_(source, store.Names(), options.twice),
        pace_(options.batch) {}

  Outcome Prove() {
    SetWindow();
    const std::string newest = store_.Holds().Newest();
    if (options_.to.empty() && !newest.empty()) window_.before = JustBehind(newest);
    return Proof(reader_, store_, window_, pace_).Find();
  }

  Outcome Download() {
    SetWindow();
    const std::string goal = reader_.Newest();
    if (options_.from == kPointer && store_.IsFile()) beginning_.Keep(window_.behind);
    store_.Begin();
    observer_.Begins(std::min(goal, window_.before));
    Append();
    // What is logged from now on is the next download's.
    window_.before = std::min(window_.before, JustBehind(std::max(goal, Reached())));
    observer_.Proves();
    Proof proof(reader_, store_, window_, pace_);
    Outcome outcome = store_.IsFile() ? proof.Mend() : proof.Find();
    outcome.whole = outcome.whole && EndsWithNewest(outcome, goal);
    // What went to standard output only in part comes again.
    const bool kept = store_.IsFile() || (outcome.whole && outcome.rejected == 0);
    if (options_.from != kPointer || !kept) return outcome;
    reader_.Set(Reached());
    source_.Stay();
    if (store_.IsFile()) beginning_.Done();
    return outcome;
  }

 private:
  void SetWindow() {
    window_ = {Behind(), kAfterAllRecords};
    if (!options_.to.empty()) window_.before = StampFrom(SpanOf(options_.to)->end);
  }

  std::string Behind() {
    const Held& held = store_.Holds();
    if (options_.from == kBegin) return kBeforeAllRecords;
    if (options_.from == kPointer) {
      std::string kept = store_.IsThere() ? beginning_.Read() : "";
      if (!kept.empty()) return kept;
      if (held.Stamps() > 0) return reader_.Before(held.Stamp(0));
      const std::string pointer = source_.Get();
      return pointer.empty() ? kBeforeAllRecords : pointer;
    }
    std::string from;
    if (const auto span = SpanOf(options_.from)) {
      from = StampFrom(span->begin);
    } else {
      const auto newest = MomentOf(reader_.Newest());
      if (!newest) return kBeforeAllRecords;
      from = StampFrom(*newest - *BackOf(options_.from));
    }
    // A file goes on from where it ends, and nothing between is left out.
    if (held.Stamps() > 0) from = std::min(from, held.Newest());
    const std::string before = reader_.Before(from);
    const auto moment = MomentOf(from);
    if (!moment || reader_.At(before, 1) >= from) return before;
    // What is logged now is earlier still.
    return TimeStampOf(*moment - 1);
  }

  /// The newest time stamp that is held, or where the window begins.
  std::string Reached() const {
    const long end = store_.Holds().Find(window_.before);
    return end == 0 ? window_.behind : std::max(window_.behind, store_.Holds().Stamp(end - 1));
  }

  /// Whether no record that is later than the newest comes behind as many as are held. One does
  /// while an hour repeats itself, if the database orders its records otherwise than by their
  /// texts: then a position in that hour, and what was counted from there, is not what it seems.
  bool EndsWithNewest(const Outcome& outcome, const std::string& newest) {
    const std::string next = reader_.At(window_.behind, outcome.records + outcome.rejected + 1);
    return next <= std::max(newest, window_.behind) || next <= reader_.Newest();
  }

  /// Takes records from the newest that is held on until there are no more. Where time stamps have
  /// several records no batch may end between them; one that ends between the first two that are
  /// seen leaves the second to the proof.
  void Append() {
    bool several = !store_.IsFile();
    std::string behind = Reached();
    for (bool more = true; more;) {
      pace_.Start();
      std::string covered;
      std::vector<Record> records;
      if (several) {
        records = reader_.BringWhole(behind, pace_.Records(), covered).records;
        more = !covered.empty();
      } else {
        RecordReader::Batch batch = reader_.Bring(behind, pace_.Records());
        more = batch.more;
        records = std::move(batch.records);
      }
      pace_.Took(static_cast<long>(records.size()));
      const bool whole = several || !more;
      several = !store_.IsFile() || HaveSeveral(records);
      if (several && !whole) DropLast(records);
      if (records.empty()) continue;
      behind = records.back().stamp;
      while (!records.empty() && records.back().stamp >= window_.before) {
        records.pop_back();
        more = false;
      }
      store_.Add(records);
      observer_.Brought(records);
    }
  }

  RecordSource& source_;
  const DownloadOptions& options_;
  RecordStore& store_;
  DownloadObserver& observer_;
  Beginning beginning_;
  RecordReader reader_;
  Pace pace_;
  Window window_;
};

}  // namespace

Outcome Download(RecordSource& source, const DownloadOptions& options, DownloadObserver& observer) {
  Check(options);
  RecordStore store(options.file, source.Header());
  return Work(source, options, store, observer).Download();
}

Outcome Prove(RecordSource& source, const DownloadOptions& options) {
  if (options.file == "-") {
    throw Failure(kUsage, "prove needs a file: what went to standard output is in none.");
  }
  Check(options);
  RecordStore store(options.file, "");
  DownloadObserver observer;
  return Work(source, options, store, observer).Prove();
}
