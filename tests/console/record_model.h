// A gateway's answers about records, from memory.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <utility>
#include <vector>

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

class RecordModel : public RecordSource {
 public:
  void Log(const std::string& record) {
    const std::pair<std::string, std::string> row(TimeStamp(record), record);
    const auto earlier = [](const auto& a, const auto& b) { return a.first < b.first; };
    rows_.insert(std::upper_bound(rows_.begin(), rows_.end(), row, earlier), row);
  }
  void Clear(std::size_t oldest) {
    rows_.erase(rows_.begin(), rows_.begin() + static_cast<long>(oldest));
  }
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
    const long size = static_cast<long>(rows_.size());
    const bool named = way == "B" || way == "E";
    const long steps = named ? 0 : std::stol(way);
    const auto [same, later] =
        std::equal_range(rows_.begin(), rows_.end(), std::make_pair(pointer_, std::string()),
                         [](const auto& a, const auto& b) { return a.first < b.first; });
    long to = way == "B" ? 0 : size - 1;
    if (steps > 0) to = std::min<long>(later - rows_.begin() + steps, size) - 1;
    if (steps < 0) to = std::max<long>(same - rows_.begin() + steps, 0);
    const bool any = steps > 0 ? later != rows_.end() : steps < 0 ? same != rows_.begin() : named;
    if (any && size > 0) pointer_ = rows_[static_cast<std::size_t>(to)].first;
    Answer("4SSTO 0");
  }
  Batch Next(long count) override {
    Begin();
    const auto later = [](const std::string& stamp, const auto& row) { return stamp < row.first; };
    const auto begin = std::upper_bound(rows_.begin(), rows_.end(), pointer_, later);
    auto last = begin + std::min<long>(count, rows_.end() - begin);
    if (last != begin) last = std::upper_bound(last, rows_.end(), (last - 1)->first, later);
    std::vector<std::pair<std::string, std::string>> rows(begin, last);
    // Of one time stamp the database gives now these first, now those.
    if (requests % 2 == 0) {
      for (auto row = rows.begin(); row != rows.end();) {
        const auto end = std::upper_bound(row, rows.end(), row->first, later);
        std::reverse(row, end);
        row = end;
      }
    }
    rows.resize(std::min(rows.size(), static_cast<std::size_t>(count)));
    if (!rows.empty()) pointer_ = rows.back().first;
    Batch batch;
    for (const auto& row : rows) batch.lines.push_back(Answer(row.second));
    onTheLine(batch);
    return batch;
  }

 private:
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
  std::vector<std::pair<std::string, std::string>> rows_;
};
