#include "views/watch.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <optional>
#include <thread>

#include "line/failure.h"
#include "line/interrupt.h"
#include "line/moment.h"
#include "line/visible.h"
#include "views/course.h"
#include "views/session.h"
#include "views/terminal.h"
#include "views/watch_file.h"

namespace {

using Steady = std::chrono::steady_clock;
using Courses = std::vector<Course>;

constexpr char kRefusedText[] = "refused";

/// What is lost on the line is no reason to end.
std::string Lost(const Failure& failure) {
  if (!IsLoss(failure)) throw Failure(failure);
  return failure.status == kNoReply ? "no reply" : "broken reply";
}

/// Reads values again and again. Keeps the latest failure while nothing at all was read.
class Watching {
 public:
  explicit Watching(Session& session) : session_(session) {}
  virtual ~Watching() = default;

  /// One reading, unless it is to stop before it is whole.
  virtual void Read(const std::function<bool()>& stop) = 0;
  const Courses& Values() const { return courses_; }

  /// The status condition that came with the latest reply; GNP has none.
  int Status() const { return status_; }

  /// Why nothing was read so far.
  const std::optional<Failure>& Failed() const { return failed_; }

 protected:
  void Take(Course& course, const std::string& value) {
    course.Add(value);
    read_ = true;
    failed_.reset();
  }
  void Miss(Course& course, const Failure& failure, const std::string& shown) {
    course.Miss(shown);
    if (!read_) failed_ = failure;
  }

  Session& session_;
  Courses courses_;
  int status_ = 0;

 private:
  bool read_ = false;
  std::optional<Failure> failed_;
};

class WatchingAK : public Watching {
 public:
  WatchingAK(Session& session, const std::vector<std::string>& words) : Watching(session) {
    session.numbers.Learn();  // Numbers are shown without names where the list cannot be had.
    for (const Register& asked : session.numbers.Find(words)) courses_.emplace_back(asked);
  }

  void Read(const std::function<bool()>& stop) override {
    for (Course& course : courses_) {
      if (stop()) return;
      try {
        const AKReply reply = session_.logger.ReadRegister(course.Asked().number);
        status_ = reply.status;
        if (reply.refused) {
          Miss(course, Failure(kRefused, "AREG refused."), kRefusedText);
        } else {
          Take(course, reply.fields);
        }
      } catch (const Failure& failure) {
        Miss(course, failure, Lost(failure));
      }
    }
  }
};

/// The registers of the data reply: those of the first one.
class WatchingGNP : public Watching {
 public:
  explicit WatchingGNP(Session& session) : Watching(session) {
    for (const MDBlock& block : session.logger.Data().blocks) {
      const int number = std::atoi(block.registerNumber.c_str());
      courses_.emplace_back(Register{number, session.numbers.Name(number), std::to_string(number)});
    }
  }

  void Read(const std::function<bool()>&) override {
    try {
      const MDFrame frame = session_.logger.Data();
      for (Course& course : courses_) Find(frame, course);
    } catch (const Failure& failure) {
      for (Course& course : courses_) Miss(course, failure, Lost(failure));
    }
  }

 private:
  void Find(const MDFrame& frame, Course& course) {
    for (const MDBlock& block : frame.blocks) {
      if (std::atoi(block.registerNumber.c_str()) != course.Asked().number) continue;
      return Take(course, block.Decimal());
    }
    course.Miss("not sent");
  }
};

std::unique_ptr<Watching> Begin(Session& session, const WatchOptions& options) {
  if (session.gnp && !options.registers.empty()) {
    throw Failure(kUsage, "On a GNP line watch shows the registers of the data reply: name none.");
  }
  if (session.gnp) return std::make_unique<WatchingGNP>(session);
  if (options.registers.empty()) throw Failure(kUsage, "watch needs registers.");
  return std::make_unique<WatchingAK>(session, options.registers);
}

void PrintJson(const std::string& moment, const Session& session, const Watching& watching) {
  for (const Course& course : watching.Values()) {
    std::vector<std::pair<std::string, std::string>> members = {
        {"command", JsonText(session.gnp ? "DA" : "AREG")},
        {"status", std::to_string(watching.Status())},
        {"time", JsonText(moment)}};
    const auto names = JsonMembers(course.Asked().number, course.Asked().name);
    members.insert(members.end(), names.begin(), names.end());
    members.emplace_back("value", JsonText(course.Value()));
    if (course.IsMissed()) members.emplace_back("missed", JsonText(course.Shown()));
    if (course.Shown() == kRefusedText) members.emplace_back("refused", "true");
    std::cout << JsonObject(members) << std::endl;
  }
}

void PrintLine(const std::string& moment, const Courses& courses) {
  std::cout << moment;
  for (const Course& course : courses) {
    const Register& asked = course.Asked();
    std::cout << "  " << asked.number << (asked.name.empty() ? "" : " ") << Visible(asked.name)
              << " " << course.Shown();
  }
  std::cout << std::endl;
}

/// The last line of the terminal is the cursor's.
void Draw(Canvas& canvas, const std::string& time, const Courses& courses) {
  canvas.Measure();
  std::vector<std::string> lines = CourseTable(courses, canvas.Columns() - 1, canvas.Lines() - 2);
  lines.insert(lines.begin(), time + "  q ends");
  canvas.Draw(lines);
}

}  // namespace

void Watch(Session& session, const WatchOptions& options) {
  const Interrupt interrupt(Interrupt::Then::kFinish);
  const auto watching = Begin(session, options);
  std::optional<WatchFile> file;
  if (!options.csv.empty()) file.emplace(options.csv, watching->Values());
  const bool terminal = isatty(1) == 1 && !session.report.Json();
  const Keys keys;
  Canvas canvas;
  bool ended = false;
  const auto stop = [&] {
    ended = ended || Interrupt::Noted() != 0 || keys.Pressed('q');
    return ended;
  };
  auto next = Steady::now();
  for (long reading = 1; !stop(); ++reading) {
    watching->Read(stop);
    if (ended) break;
    const auto now = std::chrono::system_clock::now();
    const std::string moment = MomentText(now, 0);
    if (session.report.Json()) {
      PrintJson(MomentText(now, 3), session, *watching);
    } else if (terminal) {
      Draw(canvas, TimeOfDay(now, 0), watching->Values());
    } else {
      PrintLine(moment, watching->Values());
    }
    if (file) file->Add(moment, watching->Values());
    RequireOutput();
    if (reading == options.count) break;
    next += std::chrono::duration_cast<std::chrono::microseconds>(
        std::chrono::duration<double>(options.every));
    while (Steady::now() < next && !stop()) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
  }
  if (watching->Failed()) throw Failure(*watching->Failed());
}
