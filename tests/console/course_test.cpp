#include "views/course.h"

#include <gtest/gtest.h>

namespace {

TEST(Course, FitsItsTerminal) {
  std::vector<Course> courses;
  for (int number = 1; number <= 30; ++number) {
    courses.emplace_back(Register{number, "qmxDiagnosticValue.0", std::to_string(number)});
    for (const char* value : {"9", "-10", "10.50"}) courses.back().Add(value);
  }
  courses[0].Add(std::string(255, 'x'));
  courses[1].Miss("no reply");
  // As they were read, and no bars where there is no room.
  const std::vector<std::string> wide = CourseTable(courses, 200, 40);
  ASSERT_EQ(wide.size(), 31U);
  EXPECT_EQ(wide[1].substr(0, 30), "1  qmxDiagnosticValue.0   xxxx");
  EXPECT_EQ(wide[2].substr(25, 34), " no reply" + std::string(25, ' '));
  EXPECT_NE(wide[3].find("10.50                             -10      10.50  █▁█"),
            std::string::npos)
      << wide[3];
  const std::vector<std::string> narrow = CourseTable(courses, 40, 10);
  ASSERT_EQ(narrow.size(), 10U);
  for (const std::string& line : narrow) EXPECT_LE(line.size(), 40U);
  EXPECT_EQ(narrow[9], "... and 22 more");
  EXPECT_EQ(CourseTable(courses, 1, 0).size(), 3U);
}

}  // namespace
