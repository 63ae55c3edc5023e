// Downloads while clocks go wrong: whatever they did, and wherever a download was broken off, the
// file holds every record once, and the proof says so.
#include "record_model.h"

namespace {

constexpr int kCuts = 200;

/// What an instrument logs at an interval: how many records behind each setting of its clock.
std::vector<std::string> Logged(int seconds, const std::vector<std::pair<Moment, int>>& steps,
                                const std::string& text = "",
                                const std::string& begin = "2026-10-25 00:10:00") {
  std::vector<std::string> records;
  Moment clock = *MomentOf(begin);
  for (const auto& [set, count] : steps) {
    clock += kSecond * set;
    for (int i = 0; i < count; ++i, clock += kSecond * seconds) {
      records.push_back(RecordAt(clock, text.empty() ? std::to_string(i) + ",N" : text));
    }
  }
  return records;
}

struct Scenario {
  std::string name;
  std::vector<std::string> records;  // in the order of logging
  std::size_t first = 60;            // of them logged when the first download begins
  std::size_t cleared = 0;           // of the oldest, gone when the second begins
};

std::vector<Scenario> Scenarios() {
  auto leap = Logged(1, {{0, 140}}, "", "2016-12-31 23:58:50");
  leap.insert(leap.begin() + 70, "2016-12-31,23:59:60,leap,N");
  std::vector<std::string> dates;
  std::vector<std::string> fractions;
  for (int i = 0; i < 140; ++i) {
    const std::string end = "," + std::to_string(i) + ",N";
    dates.push_back("2026-10-" + std::to_string(10 + i / 30 - i / 120) + "," + end);
    fractions.push_back("2026-10-25,00:00:0" + std::to_string(i / 20) + "." +
                        std::to_string(100 + i % 20 - i / 70 * 15) + end);
  }
  std::vector<Scenario> all = {
      {"boot in 1970", Logged(300, {{0, 70}, {-1792907993, 30}, {1792906193, 40}})},
      {"leap second", leap},
      {"two jumps", Logged(300, {{0, 65}, {-7200, 30}, {5400, 45}})},
      {"equal texts", Logged(300, {{0, 70}, {-3600, 70}}, "5,he said \"a, b\"")},
      {"cleared", Logged(300, {{0, 70}, {-3600, 70}}), 60, 25},
      {"cleared behind the jump", Logged(300, {{0, 70}, {-86400, 70}}), 60, 90},
      {"dates without time", dates},
      {"empty at first", Logged(300, {{0, 140}}), 0},
      {"fractions", fractions}};
  // The hours of autumn and spring; a minute, a day, a year.
  for (const auto& [interval, jump] :
       {std::pair(60, 3600), {300, 3600}, {3600, 3600}, {300, 60}, {300, 86400}, {300, 31536000}}) {
    for (const int by : {-jump, jump}) {
      all.push_back({"every " + std::to_string(interval) + " s, set by " + std::to_string(by),
                     Logged(interval, {{0, 70}, {by, 70}})});
    }
  }
  return all;
}

class Clock : public Downloads {
 protected:
  /// A download that is killed after so many bytes, while the instrument logs on; then another.
  /// Returns the bytes that had come.
  long Run(const Scenario& scenario, long limit) {
    Anew();
    options_.batch = 25;
    std::size_t logged = 0;
    const auto log = [&](std::size_t until) {
      for (; logged < std::min(until, scenario.records.size()); ++logged) {
        instrument_.Log(scenario.records[logged]);
      }
    };
    log(scenario.first);
    instrument_.limit = limit;
    instrument_.beforeEach = [&] { log(logged + 1); };
    try {
      Download();
    } catch (const Killed&) {
    }
    const long bytes = instrument_.bytes;
    instrument_.limit = LONG_MAX;
    log(scenario.records.size());
    const std::vector<std::string> all = instrument_.Records();
    instrument_.Clear(static_cast<long>(scenario.cleared));

    // What was cleared before it was brought is lost; all else is to be there, once.
    const Lines before = LinesOf(options_.file);
    Lines expected;
    for (std::size_t i = 0; i < all.size(); ++i) {
      const std::string line = LineOf(all[i], SplitLine(kHeader));
      if (i >= scenario.cleared || before.count(line) > expected.count(line)) expected.insert(line);
    }
    const Outcome outcome = Download();
    EXPECT_TRUE(outcome.whole);
    EXPECT_EQ(outcome.records, static_cast<long>(all.size() - scenario.cleared));
    EXPECT_EQ(LinesOf(options_.file), expected);
    EXPECT_TRUE(Prove(instrument_, options_).whole);
    return bytes;
  }
};

TEST_F(Clock, LosesAndDoublesNothingWhereverADownloadIsKilled) {
  for (const Scenario& scenario : Scenarios()) {
    const long bytes = Run(scenario, LONG_MAX);
    for (int cut = 0; cut < kCuts && !HasFailure(); ++cut) Run(scenario, bytes * cut / kCuts);
    ASSERT_FALSE(HasFailure()) << scenario.name;
  }
}

}  // namespace
