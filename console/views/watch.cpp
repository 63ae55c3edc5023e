#include "views/watch.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <deque>
#include <iostream>
#include <optional>
#include <thread>

#include "line/failure.h"
#include "line/interrupt.h"
#include "line/visible.h"
#include "views/session.h"

namespace {

/// What has been read of one register.
struct Course {
  Register asked;
  std::string value = {};
  bool numeric = false;
  double lowest = 0;
  double highest = 0;
  std::deque<double> latest = {};

  void Add(const std::string& text) {
    value = text;
    char* end = nullptr;
    const double now = std::strtod(text.c_str(), &end);
    numeric = end != text.c_str() && *end == 0;
    if (!numeric) return;
    lowest = latest.empty() ? now : std::min(lowest, now);
    highest = latest.empty() ? now : std::max(highest, now);
    latest.push_back(now);
    if (latest.size() > 200) latest.pop_front();
  }

  /// The latest values as bars, one column each.
  std::string SparkLine(std::size_t columns) const {
    static constexpr const char* kBars[] = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
    std::string line;
    for (std::size_t i = latest.size() - std::min(columns, latest.size()); i < latest.size(); ++i) {
      const double height = highest > lowest ? (latest[i] - lowest) / (highest - lowest) : 0.5;
      line += kBars[std::clamp(static_cast<int>(height * 8), 0, 7)];
    }
    return line;
  }
};

std::string TimeOfDay() {
  const std::time_t now = std::time(nullptr);
  std::tm time{};
  localtime_r(&now, &time);
  char text[16];
  std::strftime(text, sizeof text, "%H:%M:%S", &time);
  return text;
}

/// Draws the table over the one drawn before. Lines are cut to the terminal: one that wrapped would
/// take two.
void Draw(const std::vector<Course>& courses, bool first) {
  winsize window{};
  const bool known = ioctl(1, TIOCGWINSZ, &window) == 0 && window.ws_col > 0;
  const std::size_t width = known ? window.ws_col - 1U : 79;
  std::vector<std::vector<std::string>> rows = {{"register", "value", "minimum", "maximum"}};
  for (const Course& course : courses) {
    rows.push_back({course.asked.label, course.value,
                    course.numeric ? std::to_string(course.lowest) : "",
                    course.numeric ? std::to_string(course.highest) : ""});
  }
  if (!first) std::cout << "\x1b[" << courses.size() + 2 << "A";
  std::cout << "\x1b[J" << TimeOfDay() << "\n";
  const std::vector<std::string> lines = TableLines(rows);
  for (std::size_t i = 0; i < lines.size(); ++i) {
    std::cout << lines[i].substr(0, width);
    const bool bars = i > 0 && lines[i].size() + 2 < width;
    if (bars) std::cout << "  " << courses[i - 1].SparkLine(width - lines[i].size() - 2);
    std::cout << "\n";
  }
  std::cout << std::flush;
}

void PrintLine(const std::vector<Course>& courses) {
  std::cout << TimeOfDay();
  for (const Course& course : courses)
    std::cout << "  " << course.asked.label << " " << course.value;
  std::cout << std::endl;
}

}  // namespace

void Watch(Session& session, const WatchOptions& options) {
  std::vector<Course> courses;
  for (const Register& asked : session.numbers.Find(options.registers)) courses.push_back({asked});
  const Interrupt interrupt(Interrupt::Then::kFinish);
  auto next = std::chrono::steady_clock::now();
  const bool terminal = isatty(1) == 1;
  std::optional<Failure> failed;
  bool read = false;
  for (long reading = 1; Interrupt::Noted() == 0; ++reading) {
    for (Course& course : courses) {
      if (Interrupt::Noted() != 0) break;
      try {
        const AKReply reply = session.logger.ReadRegister(course.asked.number);
        if (session.report.Json()) session.report.ShowRegister(course.asked, reply);
        course.Add(reply.refused ? "refused" : Visible(reply.fields));
        if (reply.refused) failed.emplace(kRefused, "AREG refused.");
        read = read || !reply.refused;
      } catch (const Failure& failure) {
        // What is lost on the line is no reason to end.
        if (failure.status != kNoReply && failure.status != kBroken) throw;
        course.Add(failure.status == kNoReply ? "no reply" : "broken reply");
        failed = failure;
      }
    }
    if (!session.report.Json()) terminal ? Draw(courses, reading == 1) : PrintLine(courses);
    if (reading == options.count) break;
    next += std::chrono::duration_cast<std::chrono::microseconds>(
        std::chrono::duration<double>(options.every));
    while (Interrupt::Noted() == 0 && std::chrono::steady_clock::now() < next) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
  }
  if (!read && failed) throw Failure(*failed);
}
