// Downloads while clocks go wrong: whatever they did, and wherever a download was broken off, the
// file holds every record once, and the proof says so.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <set>

#include "record_model.h"
#include "records/capture.h"
#include "records/download.h"
#include "records/record_file.h"

namespace {

#ifdef __SANITIZE_ADDRESS__
constexpr int kCuts = 10;
#else
constexpr int kCuts = 200;
#endif

/// What an instrument logs: at intervals, by a clock that is set now and then.
class Log {
 public:
  explicit Log(int interval, const std::string& begin = "2026-10-25 00:10:00")
      : clock_(*MomentOf(begin)), interval_(interval) {}

  Log& Records(int count) {
    for (int i = 0; i < count; ++i, clock_ += 1000 * interval_) {
      Add(TimeStampOf(clock_), same ? "same" : std::to_string(i));
    }
    return *this;
  }
  Log& Set(Moment seconds) {
    clock_ += 1000 * seconds;
    return *this;
  }
  Log& To(const std::string& stamp) {
    clock_ = *MomentOf(stamp);
    return *this;
  }
  Log& Add(const std::string& stamp, const std::string& value) {
    const std::string time = stamp.size() > 11 ? stamp.substr(11) : "";
    records.push_back(stamp.substr(0, 10) + "," + time + "," + value + "," + note);
    return *this;
  }

  bool same = false;
  std::string note = "N";
  std::vector<std::string> records;

 private:
  Moment clock_;
  int interval_;
};

struct Scenario {
  std::string name;
  std::vector<std::string> records;  // in the order of logging
  std::size_t first = 60;            // of them logged when the first download begins
  std::size_t cleared = 0;           // of the oldest, gone when the second begins
};

Scenario Jump(const std::string& name, int interval, Moment seconds) {
  return {name, Log(interval).Records(70).Set(seconds).Records(70).records};
}

std::vector<Scenario> Scenarios() {
  std::vector<Scenario> scenarios;
  for (const int minutes : {1, 5, 60}) {
    const std::string interval = std::to_string(minutes) + " min";
    scenarios.push_back(Jump("autumn, " + interval, minutes * 60, -3600));
    scenarios.push_back(Jump("spring, " + interval, minutes * 60, 3600));
  }
  for (const int seconds : {60, 3600, 86400, 31536000}) {
    scenarios.push_back(Jump("set forward by " + std::to_string(seconds) + " s", 300, seconds));
    scenarios.push_back(Jump("set back by " + std::to_string(seconds) + " s", 300, -seconds));
  }
  scenarios.push_back({"boot in 1970", Log(300)
                                           .Records(70)
                                           .To("1970-01-01 00:00:07")
                                           .Records(30)
                                           .To("2026-10-25 08:00:00")
                                           .Records(40)
                                           .records});
  scenarios.push_back({"leap second", Log(1, "2016-12-31 23:58:50")
                                          .Records(70)
                                          .Add("2016-12-31 23:59:60", "leap")
                                          .Records(70)
                                          .records});
  scenarios.push_back(
      {"two jumps", Log(300).Records(65).Set(-7200).Records(30).Set(5400).Records(45).records});
  Log equal(300);
  equal.same = true;
  scenarios.push_back({"equal values", equal.Records(70).Set(-3600).Records(70).records});
  scenarios.push_back(Jump("cleared", 300, -3600));
  scenarios.back().cleared = 25;
  scenarios.push_back(Jump("cleared behind the jump", 300, -3600 * 24));
  scenarios.back().cleared = 90;
  Log dates(300);
  for (int i = 0; i < 140; ++i)
    dates.Add("2026-10-" + std::to_string(10 + i / 30 - i / 120), std::to_string(i));
  scenarios.push_back({"dates without time", dates.records});
  scenarios.push_back({"empty at first", Log(300).Records(140).records, 0});
  Log texts(300);
  texts.note = "he said \"a, b\"";
  scenarios.push_back({"texts", texts.Records(70).Set(-3600).Records(70).records});
  Log fractions(300);
  for (int i = 0; i < 140; ++i)
    fractions.Add("2026-10-25 00:00:0" + std::to_string(i / 20) + "." +
                      std::to_string(100 + i % 20 - i / 70 * 15),
                  std::to_string(i));
  scenarios.push_back({"fractions", fractions.records});
  return scenarios;
}

class Clock : public testing::Test {
 protected:
  Clock() {
    const std::string shared = "/dev/shm";
    folder_ = (access(shared.c_str(), W_OK) == 0 ? shared : testing::TempDir()) + "/qmx-clock." +
              std::to_string(getpid());
    std::filesystem::create_directory(folder_);
    options_.file = folder_ + "/records.csv";
    options_.batch = 25;
  }
  ~Clock() override { std::filesystem::remove_all(folder_); }

  std::multiset<std::string> Lines() const {
    std::multiset<std::string> lines;
    if (!std::filesystem::exists(options_.file)) return lines;
    RecordFile file(options_.file);
    std::string latest;
    for (RecordFile::Line line; file.Next(line) && line.whole;) {
      EXPECT_LE(latest, TimeStamp(line.text));
      latest = TimeStamp(line.text);
      lines.insert(line.text);
    }
    return lines;
  }

  /// A download that is killed after so many bytes, while the instrument logs on; then another.
  /// Returns the bytes that had come.
  long Run(const Scenario& scenario, long limit) {
    std::filesystem::remove(options_.file);
    RecordModel instrument;
    std::size_t logged = 0;
    const auto log = [&](std::size_t until) {
      for (; logged < std::min(until, scenario.records.size()); ++logged) {
        instrument.Log(scenario.records[logged]);
      }
    };
    log(scenario.first);
    instrument.limit = limit;
    instrument.beforeEach = [&] { log(logged + 1); };
    DownloadObserver observer;
    try {
      Download(instrument, options_, observer);
    } catch (const Killed&) {
    }
    const long bytes = instrument.bytes;
    log(scenario.records.size());
    const std::vector<std::string> all = instrument.Records();
    instrument.Clear(scenario.cleared);
    instrument.limit = LONG_MAX;

    // What was cleared before it was brought is lost; all else is to be there, once.
    std::multiset<std::string> before = Lines();
    std::multiset<std::string> expected;
    for (std::size_t i = 0; i < all.size(); ++i) {
      const std::string line = LineOf(all[i], SplitLine(kHeader));
      if (i >= scenario.cleared || before.count(line) > expected.count(line)) expected.insert(line);
    }
    const Outcome outcome = Download(instrument, options_, observer);
    EXPECT_TRUE(outcome.whole);
    EXPECT_EQ(outcome.records, static_cast<long>(all.size() - scenario.cleared));
    EXPECT_EQ(Lines(), expected);
    EXPECT_TRUE(Prove(instrument, options_).whole);
    return bytes;
  }

  std::string folder_;
  DownloadOptions options_;
};

TEST_F(Clock, LosesAndDoublesNothingWhereverADownloadIsKilled) {
  for (const Scenario& scenario : Scenarios()) {
    SCOPED_TRACE(scenario.name);
    const long bytes = Run(scenario, LONG_MAX);
    for (int cut = 0; cut < kCuts && !HasFailure(); ++cut) {
      SCOPED_TRACE(cut);
      Run(scenario, bytes * cut / kCuts);
    }
    if (HasFailure()) break;
  }
}

}  // namespace
