// A gateway's answers about records, from memory, and downloads of them.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "records/capture.h"
#include "records/download.h"
#include "records/record.h"
#include "records/record_file.h"
#include "records/source.h"

/// What a download is killed with: nothing behind it runs.
struct Killed {};

constexpr char kHeader[] = "Date,Time,number,note";

using Lines = std::multiset<std::string>;

/// The records of a file, which stand in the order of their time stamps.
inline Lines LinesOf(const std::string& path) {
  Lines lines;
  if (!std::filesystem::exists(path)) return lines;
  RecordFile file(path);
  std::string latest;
  for (RecordFile::Line line; file.Next(line) && line.whole;) {
    file.Require(line);
    EXPECT_LE(std::exchange(latest, TimeStamp(line.text)), TimeStamp(line.text));
    lines.insert(line.text);
  }
  return lines;
}

inline std::string RecordAt(Moment moment, const std::string& texts) {
  return TimeStampOf(moment).replace(10, 1, ",") + "," + texts;
}

class RecordModel : public RecordSource {
 public:
  void Log(const std::string& record) {
    const std::string stamp = TimeStamp(record);
    rows_.insert(rows_.begin() + Behind(stamp), {stamp, record});
  }
  void Clear(long oldest) { rows_.erase(rows_.begin(), rows_.begin() + oldest); }
  std::vector<std::string> Records() const {
    std::vector<std::string> records;
    for (const auto& row : rows_) records.push_back(row.second);
    return records;
  }

  std::function<void()> beforeEach = [] {};  ///< runs before each request
  std::function<void(Batch&)> onTheLine = [](Batch&) {};
  std::string miscounted;  ///< this step goes only 99 records
  long requests = 0;
  long bytes = 0;         ///< that have come over the line
  long limit = LONG_MAX;  ///< of them before the download is killed

  std::string Header() override { return Answer(kHeader); }
  void Set(const std::string& timeStamp) override {
    Begin();
    pointer_ = timeStamp;
    Answer("4EREG 0 17");
  }
  std::string Get() override {
    Begin();
    return Answer(pointer_);
  }
  void Step(const std::string& asked) override {
    Begin();
    const std::string way = asked == miscounted ? "99" : asked;
    const long end = static_cast<long>(rows_.size());
    const long steps = way == "B" || way == "E" ? 0 : std::stol(way);
    const long from = steps > 0 ? Behind(pointer_) - 1 : steps < 0 ? Find(pointer_) : 0;
    const long to = way == "E" ? end - 1 : std::clamp(from + steps, 0L, std::max(0L, end - 1));
    if (end > 0 && (steps == 0 || to != from)) pointer_ = rows_[static_cast<std::size_t>(to)].first;
    Answer("4SSTO 0");
  }
  Batch Next(long count) override {
    Begin();
    const auto begin = rows_.begin() + Behind(pointer_);
    auto end = begin + std::min<long>(count, rows_.end() - begin);
    if (end != begin) end = rows_.begin() + Behind((end - 1)->first);
    std::vector<Row> rows(begin, end);
    // Of one time stamp the database gives now these first, now those.
    if (requests % 2 == 0) {
      std::reverse(rows.begin(), rows.end());
      std::stable_sort(rows.begin(), rows.end(),
                       [](const Row& a, const Row& b) { return a.first < b.first; });
    }
    rows.resize(std::min(rows.size(), static_cast<std::size_t>(count)));
    if (!rows.empty()) pointer_ = rows.back().first;
    Batch batch;
    for (const Row& row : rows) batch.lines.push_back(Answer(row.second));
    onTheLine(batch);
    return batch;
  }

 private:
  using Row = std::pair<std::string, std::string>;

  /// The place of the first record that is not earlier than this text.
  long Find(const std::string& text) const {
    return std::lower_bound(rows_.begin(), rows_.end(), Row(text, "")) - rows_.begin();
  }
  long Behind(const std::string& stamp) const { return Find(JustBehind(stamp)); }
  void Begin() {
    ++requests;
    beforeEach();
  }
  std::string Answer(const std::string& text) {
    bytes += static_cast<long>(text.size()) + 2;
    if (bytes > limit) throw Killed();
    return text;
  }

  std::string pointer_ = "2020-05-05 00:00:00";
  std::vector<Row> rows_;
};

/// Downloads from one, into a folder of their own.
class Downloads : public testing::Test {
 protected:
  Downloads() {
    options_.file = folder_ + "/records.csv";
    Anew();
  }
  ~Downloads() override { std::filesystem::remove_all(folder_); }

  /// Without file and records.
  void Anew() {
    std::filesystem::remove_all(folder_);
    std::filesystem::create_directory(folder_);
    instrument_ = RecordModel();
  }
  Outcome Download() {
    DownloadObserver observer;
    return ::Download(instrument_, options_, observer);
  }

  // A disk would take most of the time.
  const std::string folder_ =
      (access("/dev/shm", W_OK) == 0 ? "/dev/shm/records." : testing::TempDir() + "records.") +
      std::to_string(getpid());
  DownloadOptions options_;
  RecordModel instrument_;
};
