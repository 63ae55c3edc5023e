// What share of records is there, worked out from their time stamps alone.
#include "records/capture.h"

#include <gtest/gtest.h>

#include <sstream>

#include "records/figures.h"
#include "records/span.h"

namespace {

/// All that a capture tells, in one line.
std::string Told(const std::vector<std::string>& timeStamps) {
  std::vector<Moment> moments;
  for (const std::string& stamp : timeStamps) moments.push_back(MomentOf(stamp).value());
  const Capture capture(moments);
  std::ostringstream told;
  told << capture.Interval() / 1000 << " s";
  for (const Gap& gap : capture.Gaps()) {
    told << "; " << TimeStampOf(gap.from) << " > " << TimeStampOf(gap.to) << " -" << gap.missing;
  }
  for (const auto* shares : {&capture.Days(), &capture.Months()}) {
    for (const Share& share : *shares) {
      told << " | " << share.from << (share.to == share.from ? "" : ".." + share.to) << " "
           << share.present << "-" << share.missing;
    }
  }
  return told.str();
}

TEST(Capture, CountsByDayAndMonth) {
  EXPECT_EQ(Told({"2020-01-01 00:00:00"}), "0 s | 2020-01-01 1-0 | 2020-01 1-0");
  // Late by less than half an interval is no gap; two of one moment, as in a repeated hour,
  // neither.
  EXPECT_EQ(Told({"2020-01-01 00:00:00", "2020-01-01 01:00:00", "2020-01-01 01:00:00",
                  "2020-01-01 02:29:59", "2020-01-01 03:29:59"}),
            "3600 s | 2020-01-01 5-0 | 2020-01 5-0");
  // Over the end of a month, with whole days that have nothing.
  EXPECT_EQ(Told({"2020-02-28 10:00:00", "2020-02-28 16:00:00", "2020-02-28 22:00:00",
                  "2020-03-02 04:00:00", "2020-03-02 10:00:00"}),
            "21600 s; 2020-02-28 22:00:00 > 2020-03-02 04:00:00 -8 | 2020-02-28 3-0 | "
            "2020-02-29 0-4 | 2020-03-01 0-4 | 2020-03-02 2-0 | 2020-02 3-4 | 2020-03 2-4");
  EXPECT_EQ(Told({"2020-01-01", "2020-01-02", "2020-01-03", "2020-02-04"}),
            "86400 s; 2020-01-03 00:00:00 > 2020-02-04 00:00:00 -31 | 2020-01-01 1-0 | "
            "2020-01-02 1-0 | 2020-01-03 1-0 | 2020-01-04..2020-01-31 0-28 | "
            "2020-02-01..2020-02-03 0-3 | 2020-02-04 1-0 | 2020-01 3-28 | 2020-02 1-3");
}

TEST(Capture, IsToldInFigures) {
  std::string told;
  for (const Moment duration : {500, 90000, 300000, 11100000, 86400000, 187200000}) {
    told += DurationText(duration) + ", ";
  }
  EXPECT_EQ(told, "0.5 s, 90 s, 5 min, 3 h 5 min, 24 h, 2 d 4 h, ");
  EXPECT_EQ(PercentText({"", "", 9999, 1}) + PercentText({"", "", 903, 97}), "99.9 %90.3 %");
  EXPECT_EQ(RecordsText(1) + Grouped(999) + Grouped(-123456) + Grouped(1000),
            "1 record999-123,4561,000");
}

TEST(Capture, TakesOnlyDatesOfTheCalendar) {
  for (const char* stamp : {"", "2020-02-30", "2020-13-01", "2020-01-01 24:00:00", "2020-01-01 x",
                            "2020-01-01 00:60:00", "2020-01-01 00:00:00.", "2020-01-01 00:00:00.1a",
                            "2020-01-01 00:00:00 "}) {
    EXPECT_FALSE(MomentOf(stamp)) << stamp;
  }
  for (const char* stamp : {"2020-02-29 23:59:59", "1970-01-01 00:00:00", "1969-12-31 23:59:59.250",
                            "9999-12-31 00:00:00"}) {
    EXPECT_EQ(TimeStampOf(MomentOf(stamp).value()), stamp);
  }
  EXPECT_EQ(TimeStampOf(MomentOf("2016-12-31 23:59:60").value()), "2017-01-01 00:00:00");
  for (const char* text : {"2021-02-29", "2020-02-30 07:00", "2020-13", "2020-06-31 00:00:00"}) {
    EXPECT_FALSE(SpanOf(text)) << text;
  }
  EXPECT_EQ(TimeStampOf(SpanOf("2038-01").value().end), "2038-02-01 00:00:00");
}

}  // namespace
