#include "views/course.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "line/visible.h"
#include "views/report.h"

namespace {

constexpr std::size_t kKept = 200;

/// Longest text in a column; a number is never longer but where its magnitude is absurd.
constexpr std::size_t kShownWidth = 32;

/// Not a number where the text is none.
double NumberIn(const std::string& text) {
  char* end = nullptr;
  const double number = std::strtod(text.c_str(), &end);
  return end != text.c_str() && *end == 0 ? number : std::nan("");
}

std::string Cut(const std::string& text, std::size_t length) {
  return text.size() <= length ? text
                               : text.substr(0, length - std::min<std::size_t>(length, 3)) + "...";
}

}  // namespace

void Course::Add(const std::string& value) {
  value_ = value;
  missed_.clear();
  const double number = NumberIn(value);
  if (!std::isfinite(number)) return;
  if (lowest_.empty() || number < NumberIn(lowest_)) lowest_ = value;
  if (highest_.empty() || number > NumberIn(highest_)) highest_ = value;
  latest_.push_back(number);
  if (latest_.size() > kKept) latest_.pop_front();
}

void Course::Miss(const std::string& why) {
  value_.clear();
  missed_ = why;
}

std::string Course::Shown() const { return missed_.empty() ? Visible(value_) : missed_; }

std::string Course::SparkLine(std::size_t columns) const {
  static constexpr const char* kBars[] = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
  if (latest_.empty()) return "";
  const double lowest = NumberIn(lowest_);
  const double range = NumberIn(highest_) - lowest;
  std::string line;
  for (std::size_t i = latest_.size() - std::min(columns, latest_.size()); i < latest_.size();
       ++i) {
    const double height = range > 0 ? (latest_[i] - lowest) / range : 0.5;
    line += kBars[std::clamp(static_cast<int>(height * 8), 0, 7)];
  }
  return line;
}

std::vector<std::string> CourseTable(const std::vector<Course>& courses, std::size_t columns,
                                     std::size_t lines) {
  const std::size_t room = lines < 3 ? 1 : lines - 1;
  const std::size_t shown =
      courses.size() <= room ? courses.size() : std::max<std::size_t>(room, 2) - 1;
  std::vector<std::vector<std::string>> rows = {{"register", "value", "minimum", "maximum"}};
  for (std::size_t i = 0; i < shown; ++i) {
    const Course& course = courses[i];
    const Register& asked = course.Asked();
    const bool both = !asked.name.empty() && asked.label == std::to_string(asked.number);
    rows.push_back({Cut(Visible(asked.label + (both ? "  " + asked.name : "")), kShownWidth + 10),
                    Cut(course.Shown(), kShownWidth), Cut(course.Lowest(), kShownWidth),
                    Cut(course.Highest(), kShownWidth)});
  }
  std::vector<std::string> table = TableLines(rows);
  for (std::size_t i = 0; i < table.size(); ++i) {
    table[i] = Cut(table[i], columns);
    if (i == 0 || table[i].size() + 2 >= columns) continue;
    const std::string bars = courses[i - 1].SparkLine(columns - table[i].size() - 2);
    if (!bars.empty()) table[i] += "  " + bars;
  }
  if (shown < courses.size()) {
    table.push_back(Cut("... and " + std::to_string(courses.size() - shown) + " more", columns));
  }
  return table;
}
