// What has been read of registers, and how it is shown in a terminal.
#pragma once

#include <deque>
#include <string>
#include <vector>

#include "logger/register_numbers.h"

/// One register.
class Course {
 public:
  explicit Course(Register asked) : asked_(std::move(asked)) {}

  void Add(const std::string& value);

  /// Nothing was read this time: `why`, such as "no reply", stands in place of the value.
  void Miss(const std::string& why);

  const Register& Asked() const { return asked_; }

  /// The latest value as it was read; empty when nothing was.
  const std::string& Value() const { return value_; }

  bool IsMissed() const { return !missed_.empty(); }

  /// What stands for it.
  std::string Shown() const;

  /// The numbers read so far, as they were read; empty where none was.
  const std::string& Lowest() const { return lowest_; }
  const std::string& Highest() const { return highest_; }

  /// The latest numbers as bars, a column each.
  std::string SparkLine(std::size_t columns) const;

 private:
  Register asked_;
  std::string value_;
  std::string missed_;
  std::string lowest_;
  std::string highest_;
  std::deque<double> latest_;
};

/// A table that fits a terminal of so many columns and lines: long texts are cut, and where there
/// are more registers than lines, the last line tells how many are not shown.
std::vector<std::string> CourseTable(const std::vector<Course>& courses, std::size_t columns,
                                     std::size_t lines);
