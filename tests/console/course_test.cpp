#include "views/course.h"

#include <gtest/gtest.h>

namespace {

TEST(Course, FitsItsTerminal) {
  std::vector<Course> courses;
  for (const char* label : {"0", "asked", "2"}) {
    const int number = static_cast<int>(courses.size());
    courses.emplace_back(Register{number, "qmxDiagnosticValue", label});
    for (const char* value : {"9", "-10", "10.50", "x", "", "inf"}) courses.back().Add(value);
  }
  courses[0].Add(std::string(33, 'x'));
  courses[1].Add(std::string(32, 'x'));
  courses[2].Miss("no reply");
  std::string told;
  for (const auto& [columns, lines] : {std::pair(111U, 4U), {74U, 3U}, {8U, 2U}, {2U, 0U}}) {
    for (const std::string& line : CourseTable(courses, columns, lines)) told += line + "\n";
  }
  EXPECT_EQ(told,
            R"(register               value                             minimum  maximum
0  qmxDiagnosticValue  xxxxxxxxxxxxxxxxxxxxxxxxxxxxx...  -10      10.50  █▁█
asked                  xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx  -10      10.50  █▁█
2  qmxDiagnosticValue  no reply                          -10      10.50  █▁█
register               value                             minimum  maximum
0  qmxDiagnosticValue  xxxxxxxxxxxxxxxxxxxxxxxxxxxxx...  -10      10.50  █
... and 2 more
regis...
0  qm...
... a...
...
...
...
)");
  // The latest of them, each by the lowest and the highest there was.
  Course latest({1, "", "1"});
  for (int i = 0; i < 300; ++i) latest.Add(std::to_string(i % 9));
  EXPECT_EQ(latest.SparkLine(10), "▃▄▅▆▇██▁▂▃");
  EXPECT_EQ(latest.SparkLine(1000).size(), 600U);
}

}  // namespace
