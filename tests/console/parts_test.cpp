// What the console's lines are made of.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <sstream>

#include "line/moment.h"
#include "line/transcript.h"
#include "line/visible.h"

namespace {

using std::chrono::milliseconds;

TEST(Parts, AreShown) {
  EXPECT_EQ(Visible("a\x02\x03\r\n\x1F ~\x7F\x80\xFF"),
            "a<STX><ETX><CR><LF><x1F> ~<x7F><x80><xFF>");
  EXPECT_EQ(VisibleStart("a\nb", 3) + VisibleStart("a\nb", 2), "a<LF>ba<LF>...");
  EXPECT_EQ(VisibleStart(std::string(81, 'a')), std::string(80, 'a') + "...");
  setenv("TZ", "UTC-3:30", 1);
  tzset();
  const auto moment = std::chrono::system_clock::from_time_t(86399) + std::chrono::microseconds(40);
  EXPECT_EQ(MomentText(moment, 6), "1970-01-02T03:29:59.000040+0330");
  EXPECT_EQ(MomentText(moment, 0), "1970-01-02T03:29:59+0330");
  EXPECT_EQ(TimeOfDay(moment - milliseconds(1), 3) + TimeOfDay(moment, 1),
            "03:29:58.99903:29:59.0");

  std::ostringstream told;
  const auto errors = std::cerr.rdbuf(told.rdbuf());
  {
    Transcript transcript;
    const auto add = [&](Direction direction, const char* bytes, int late) {
      transcript.Add(direction, bytes,
                     std::chrono::system_clock::from_time_t(0) + milliseconds(late));
    };
    add(Direction::kToGateway, "unseen", 0);
    transcript.SetTrace(true);
    add(Direction::kToGateway, "a", 1);
    add(Direction::kToGateway, "b", 51);
    add(Direction::kToGateway, "c\nd<", 102);
    add(Direction::kToLogger, "e", 102);
    add(Direction::kToLogger, "f", 101);  // The clock was set.
    transcript.EndLine();
    transcript.EndLine();
    add(Direction::kToLogger, "g", 101);
  }
  std::cerr.rdbuf(errors);
  EXPECT_EQ(told.str(),
            "03:30:00.001 > ab\n03:30:00.102 > c<LF>\n03:30:00.102 > d<x3C>\n03:30:00.102 < e\n"
            "03:30:00.101 < f\n03:30:00.101 < g\n");
}

}  // namespace
