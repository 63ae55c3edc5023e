// Downloads over a line that flips, drops and doubles bytes, holds them back or loses all for a
// while, with a gateway and a database that are killed now and then: a file that is said to be
// whole is compared with the table.
//
//   tests/laboratory build/release/bin build/release/bin/bad_line [DOWNLOADS [OPTION...]]
//
// OPTIONs are those of download, such as --twice.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <random>
#include <sstream>
#include <thread>

#include "lab.h"

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr double kRates[] = {1e-5, 3e-5, 1e-4, 3e-4, 1e-3};

/// Carries bytes one way; changes some.
class BadWay {
 public:
  BadWay(int from, int to, unsigned seed) : from_(from), to_(to), random_(seed) {}

  void Carry(double rate, bool lost) {
    char buffer[4096];
    const ssize_t count = read(from_, buffer, sizeof buffer);
    const auto now = Clock::now();
    std::string bytes;
    for (ssize_t i = 0; i < count && !lost; ++i) Add(buffer[i], rate, bytes);
    const bool hold = static_cast<double>(random_() % 20000) < rate * 1e6;
    latest_ = std::max(latest_, now + milliseconds(hold && count > 0 ? random_() % 900 : 0));
    if (!bytes.empty()) held_.emplace_back(latest_, bytes);
    for (; !held_.empty() && held_.front().first <= now; held_.pop_front()) {
      if (write(to_, held_.front().second.data(), held_.front().second.size()) < 0) return;
    }
  }

 private:
  void Add(char byte, double rate, std::string& bytes) {
    const bool bad = std::uniform_real_distribution<>(0, 1)(random_) < rate;
    const auto what = bad ? random_() % 3 : 3;
    if (what == 0) byte = static_cast<char>(byte ^ (1 << random_() % 8));
    if (what != 1) bytes += byte;
    if (what == 2) bytes += byte;
  }

  int from_;
  int to_;
  std::mt19937 random_;
  Clock::time_point latest_;
  std::deque<std::pair<Clock::time_point, std::string>> held_;
};

/// The line between the console and the gateway.
class BadLine {
 public:
  BadLine() : gateway_(open(LabPath("logger").c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK)) {
    fcntl(console_.Master(), F_SETFL, O_NONBLOCK);
    relay_ = std::thread([this] {
      // Another run is another trial.
      const unsigned seed = std::random_device()();
      BadWay there(console_.Master(), gateway_, seed);
      BadWay back(gateway_, console_.Master(), seed + 1);
      while (!stop_) {
        there.Carry(rate, lost);
        back.Carry(rate, lost);
        std::this_thread::sleep_for(milliseconds(1));
      }
    });
  }
  ~BadLine() {
    stop_ = true;
    relay_.join();
    close(gateway_);
  }
  const std::string& Device() const { return console_.Device(); }

  std::atomic<double> rate{0};
  std::atomic<bool> lost{false};

 private:
  Line console_;
  int gateway_;
  std::atomic<bool> stop_{false};
  std::thread relay_;
};

std::vector<std::string> Lines(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  std::sort(lines.begin(), lines.end());
  return lines;
}

class Trial {
 public:
  explicit Trial(std::vector<std::string> options) : options_(std::move(options)) {
    database_.Run(
        "CREATE TABLE LogEntry (time_stamp DATETIME, number INT, mass DECIMAL(8,3), note "
        "VARCHAR(20), INDEX (time_stamp))");
    // Records every five minutes; the clock is set back by an hour.
    database_.Run(
        "INSERT INTO LogEntry SELECT '2026-10-24 12:00' + INTERVAL 5 * seq - IF(seq > 200, 60, 0) "
        "MINUTE, seq, seq * 1.237, IF(seq % 50 = 0, 'filter, \"new\"', 'F-2291') FROM "
        "seq_1_to_500");
    table_ = database_.Run(
        "SELECT CONCAT(DATE(time_stamp), ',', TIME(time_stamp), ',', number, ',', mass, ',', note) "
        "FROM LogEntry");
    for (std::string& record : table_) {
      if (record.find("\"new\"") == std::string::npos) continue;
      record.replace(record.find("filter"), std::string::npos, "filter, \"new\"");
    }
    table_.push_back("Date,Time,number,mass,note");
    std::sort(table_.begin(), table_.end());
    StartGateway();
  }

  /// Returns whether all went through; goes on where it was broken off.
  void Download(int number) {
    const std::size_t kind = static_cast<std::size_t>(number) % std::size(kRates);
    Counts& counts = counts_[kind];
    const std::string file = LabPath("bad.csv");
    std::filesystem::remove(file);
    std::filesystem::remove(file + ".rejected");
    int status = -1;
    for (int attempt = 0; attempt < 6 && status != 0; ++attempt, ++counts.attempts) {
      line_.rate = kRates[kind];
      std::vector<std::string> command = {Program("qmx-console"), "--timeout", "0.7",
                                          line_.Device(),         "download",  file};
      command.insert(command.end(), options_.begin(), options_.end());
      Child console(command);
      if (attempt == 0 && number % 4 == 1) Interfere(number);
      status = console.Wait(300000);
      line_.lost = false;
      if (status != 0 && std::getenv("QMX_SHOW") != nullptr)
        std::fputs(console.Errors().c_str(), stderr);
    }
    const bool equal = Lines(ReadFile(file)) == table_;
    ++(status != 0 ? counts.said : equal ? counts.equal : counts.silent);
    if (std::getenv("QMX_SHOW") != nullptr)
      std::fprintf(stderr, "%d at %.0e: status %d, %s\n", number, kRates[kind], status,
                   equal ? "equal" : "different");
    if (status == 0 && !equal) WriteFile("/tmp/bad_line.csv", ReadFile(file));
  }

  void Print() const {
    for (std::size_t i = 0; i < std::size(kRates); ++i) {
      const Counts& counts = counts_[i];
      std::printf("| %.0e | %d | %d | %d | %.1f |\n", kRates[i], counts.equal, counts.said,
                  counts.silent,
                  static_cast<double>(counts.attempts) /
                      std::max(1, counts.equal + counts.said + counts.silent));
    }
  }

 private:
  struct Counts {
    int equal = 0, said = 0, silent = 0, attempts = 0;
  };

  void StartGateway() {
    gateway_.reset();
    gateway_ =
        std::make_unique<Child>(std::vector<std::string>{Program("qmx-gateway"), LabPath("port")});
  }

  /// In the middle of it: the line is dead for a while, or somebody is killed.
  void Interfere(int number) {
    std::this_thread::sleep_for(milliseconds(300 + 131 * number % 900));
    const int what = number / 4 % 3;
    if (what == 0) {
      line_.lost = true;
      std::this_thread::sleep_for(milliseconds(400));
      line_.lost = false;
    } else if (what == 1) {
      gateway_->Signal(SIGKILL);
      StartGateway();
    } else {
      database_.Stop(SIGKILL);
      database_.Start();
    }
  }

  std::vector<std::string> options_;
  Database database_;
  Child instrument_{{Program("qmx-instrument"), "--type", "Twinex", "--log-interval", "0"}};
  Child cable_{
      {"socat", "pty,rawer,link=" + LabPath("logger"), "pty,rawer,link=" + LabPath("port")}};
  const bool plugged_ = WaitFor([] { return access(LabPath("port").c_str(), F_OK) == 0; });
  std::unique_ptr<Child> gateway_;
  BadLine line_;
  std::vector<std::string> table_;
  Counts counts_[std::size(kRates)];
};

}  // namespace

int main(int argc, char* argv[]) {
  const long downloads = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 200;
  Trial trial(std::vector<std::string>(argv + std::min(argc, 2), argv + argc));
  for (int i = 0; i < downloads; ++i) trial.Download(i);
  std::puts("| bytes changed | equal | said not to be | different, unsaid | attempts |");
  trial.Print();
}
