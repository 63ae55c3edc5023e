// The console behind a path that holds bytes back, and loses some.
#include <fcntl.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <deque>
#include <random>
#include <regex>
#include <set>
#include <thread>

#include "fixture.h"

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

/// Carries bytes one way in their order: mostly at once, some late, now and then all of them only
/// after the console has given up, once or more often; some never.
class LateWay {
 public:
  LateWay(int from, int to, unsigned seed) : from_(from), to_(to), random_(seed) {}

  void Carry() {
    char buffer[4096];
    const auto now = Clock::now();
    const ssize_t count = read(from_, buffer, sizeof buffer);
    const auto dice = random_() % 200;
    if (count > 0 && dice != 0) {
      const auto late = dice > 8 ? 0 : random_() % (dice > 2 ? 400 : 1500);
      latest_ = std::max(latest_, now + milliseconds(late));
      held_.emplace_back(latest_, std::string(buffer, static_cast<std::size_t>(count)));
    }
    for (; !held_.empty() && held_.front().first <= now; held_.pop_front()) {
      const std::string& bytes = held_.front().second;
      ASSERT_EQ(write(to_, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
  }

 private:
  int from_;
  int to_;
  std::mt19937 random_;
  Clock::time_point latest_;
  std::deque<std::pair<Clock::time_point, std::string>> held_;
};

/// What the console may truly say to a request: all else is wrong.
const std::pair<const char*, const char*> kAnswers[] = {
    {"not sent", R"(.*: \w+ was not sent\. (No reply|The reply ).*\n)"},
    {"not known", R"(ereg 29 (\d+): It is not known whether 29 was written[:;] .*?)"
                  R"(( It reads (\d+) now\.)?\n)"},
    {"written", R"(ereg 29 (\d+): 29 is set\n)"},
    {"read", R"(areg 29: 29  (\d+)\n)"},
    {"no reply", R"((?!ereg 29 ).*: (It is not known whether (SSTO|SF99|EREG|999) was |No reply|)"
                 R"(The reply (breaks off|is no AK reply)).*\n)"},
    {"type", R"(lcfg: instrument type 2\n)"},
    {"refused", R"((areg 999: 999  refused\nAREG|ereg 999 1: EREG|sf 99: SF99) refused.*\n)"},
    {"moved", R"(ssto B: database pointer moved\n)"}};

TEST_F(Console, TakesNoReplyForThatToAnotherRequest) {
  database_.Run("CREATE TABLE LogEntry (time_stamp DATETIME)");
  database_.Run("INSERT INTO LogEntry VALUES ('2020-01-01')");
  ASSERT_EQ(Ask({"lcfg"}).status, 0);

  const Line line;
  const int gateway = open(device_.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
  fcntl(line.Master(), F_SETFL, O_NONBLOCK);
  std::atomic<bool> stop{false};
  std::thread relay([&] {
    LateWay there(line.Master(), gateway, 1);
    LateWay back(gateway, line.Master(), 2);
    while (!stop) {
      there.Carry();
      back.Carry();
      std::this_thread::sleep_for(milliseconds(1));
    }
  });

  const char* given = std::getenv("QMX_REQUESTS");
  std::vector<std::string> asked;
  std::string script;
  std::mt19937 random(3);
  for (int i = 0; i < (given == nullptr ? 300 : std::atoi(given)); ++i) {
    const char* kOthers[] = {"lcfg", "areg 999", "ereg 999 1", "sf 99", "ssto B"};
    const auto dice = random() % 10;
    asked.push_back(dice < 4   ? "ereg 29 " + std::to_string(1000 + i)
                    : dice < 7 ? "areg 29"
                               : kOthers[random() % std::size(kOthers)]);
    script += "=\n" + asked.back() + "\n";
  }
  WriteFile(LabPath("script"), script + "=\n");
  Child console({"sh", "-c",
                 Program("qmx-console") + " --timeout 0.3 " + line.Device() + " <" +
                     LabPath("script") + " 2>&1"});
  EXPECT_NE(console.Wait(500000), -1);
  stop = true;
  relay.join();
  close(gateway);

  std::set<std::string> possible = {"300"};  // in register 29
  std::set<std::string> said;
  const std::string output = console.Output();
  const std::string separator = "There is no command =; \"help\" lists them.\n";
  std::size_t at = separator.size();
  for (const std::string& request : asked) {
    const std::size_t end = output.find(separator, at);
    ASSERT_NE(end, std::string::npos) << request;
    const std::string text = request + ": " + output.substr(at, end - at);
    std::smatch found;
    const auto* const answer = std::find_if(
        std::begin(kAnswers), std::end(kAnswers),
        [&](const auto& its) { return std::regex_match(text, found, std::regex(its.second)); });
    ASSERT_NE(answer, std::end(kAnswers)) << text;
    const std::string kind = answer->first;
    std::string value;
    if (kind == "read") value = found[1];
    if (kind == "written") possible = {found[1]};
    if (kind == "not known") {
      possible.insert(found[1]);
      value = found[3];
    }
    if (!value.empty()) {
      EXPECT_EQ(possible.count(value), 1U) << text << *possible.begin();
      possible = {value};
    }
    said.insert(kind);
    at = end + separator.size();
  }
  EXPECT_EQ(said.count("written") + said.count("read"), 2U);
  // Which trouble it was hangs on the moment.
  EXPECT_GT(said.count("not sent") + said.count("not known"), 0U);
}

}  // namespace
