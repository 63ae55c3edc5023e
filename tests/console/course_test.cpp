#include "views/course.h"

#include <gtest/gtest.h>

namespace {

TEST(Course, FitsItsTerminal) {
  std::vector<Course> courses;
  for (int number = 1; number <= 4; ++number) {
    const std::string label = number == 3 ? "asked" : std::to_string(number);
    courses.emplace_back(Register{number, number == 4 ? "" : "qmxDiagnosticValue", label});
    for (const char* value : {"9", "-10", "10.50", "x", "", "inf"}) courses.back().Add(value);
  }
  courses[0].Add(std::string(33, 'x'));
  courses[1].Miss("no reply");
  courses[2].Add(std::string(32, 'x'));
  courses.emplace_back(Register{5, std::string(39, 'n'), "5"});
  courses.emplace_back(Register{6, std::string(40, 'n'), "6"});
  for (const char* value : {"0", "1"}) courses[4].Add(value);
  std::string told;
  for (const auto& [columns, lines] :
       {std::pair(111U, 7U), {74U, 6U}, {73U, 3U}, {8U, 2U}, {2U, 0U}}) {
    for (const std::string& line : CourseTable(courses, columns, lines)) told += line + "\n";
  }
  EXPECT_EQ(
      told,
      R"(register                                    value                             minimum  maximum
1  qmxDiagnosticValue                       xxxxxxxxxxxxxxxxxxxxxxxxxxxxx...  -10      10.50  █▁█
2  qmxDiagnosticValue                       no reply                          -10      10.50  █▁█
asked                                       xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx  -10      10.50  █▁█
4                                           inf                               -10      10.50  █▁█
5  nnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnn  1                                 0        1  ▁█
6  nnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnn...
register               value                             minimum  maximum
1  qmxDiagnosticValue  xxxxxxxxxxxxxxxxxxxxxxxxxxxxx...  -10      10.50  █
2  qmxDiagnosticValue  no reply                          -10      10.50  █
asked                  xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx  -10      10.50  █
4                      inf                               -10      10.50  █
... and 2 more
register               value                             minimum  maximum
1  qmxDiagnosticValue  xxxxxxxxxxxxxxxxxxxxxxxxxxxxx...  -10      10.50
... and 5 more
regis...
1  qm...
... a...
...
...
...
)");
  // The latest of them, each by the lowest and the highest there was.
  for (int i = 0; i < 300; ++i) courses[5].Add(std::to_string(i % 9));
  EXPECT_EQ(courses[5].SparkLine(10), "▃▄▅▆▇██▁▂▃");
  EXPECT_EQ(courses[5].SparkLine(1000).size(), 600U);
}

}  // namespace
