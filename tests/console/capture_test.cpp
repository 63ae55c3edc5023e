// What share of records is there, worked out from their time stamps alone, and how it is told.
#include "records/capture.h"

#include <gtest/gtest.h>

#include <sstream>

#include "line/failure.h"
#include "records/figures.h"
#include "records/span.h"
#include "views/outcome.h"

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
  const std::pair<std::vector<std::string>, const char*> cases[] = {
      {{"2020-01-01 00:00:00"}, "0 s | 2020-01-01 1-0 | 2020-01 1-0"},
      // Late by less than half an interval is no gap; two of one moment, as in a repeated hour,
      // neither.
      {{"2020-01-01 00:00:00", "2020-01-01 01:00:00", "2020-01-01 01:00:00", "2020-01-01 02:30:00",
        "2020-01-01 03:30:00"},
       "3600 s | 2020-01-01 5-0 | 2020-01 5-0"},
      // Over the end of a month, with whole days that have nothing.
      {{"2020-02-28 10:00:00", "2020-02-28 16:00:00", "2020-02-28 22:00:00", "2020-03-02 04:00:00",
        "2020-03-02 10:00:00"},
       R"(21600 s; 2020-02-28 22:00:00 > 2020-03-02 04:00:00 -8 | 2020-02-28 3-0 | 2020-02-29 0-4 | 2020-03-01 0-4 | 2020-03-02 2-0 | 2020-02 3-4 | 2020-03 2-4)"},
      {{"1969-12-30 23:00:00", "1969-12-31 00:00:00", "1969-12-31 01:00:00", "1970-01-01 01:00:00",
        "1970-01-01 04:00:00", "1970-01-01 07:00:00"},
       R"(3600 s; 1969-12-31 01:00:00 > 1970-01-01 01:00:00 -23; 1970-01-01 01:00:00 > 1970-01-01 04:00:00 -2; 1970-01-01 04:00:00 > 1970-01-01 07:00:00 -2 | 1969-12-30 1-0 | 1969-12-31 2-22 | 1970-01-01 3-5 | 1969-12 3-22 | 1970-01 3-5)"},
      {{"2020-01-01", "2020-01-02", "2020-01-03", "2020-02-04"},
       R"(86400 s; 2020-01-03 00:00:00 > 2020-02-04 00:00:00 -31 | 2020-01-01 1-0 | 2020-01-02 1-0 | 2020-01-03 1-0 | 2020-01-04..2020-01-31 0-28 | 2020-02-01..2020-02-03 0-3 | 2020-02-04 1-0 | 2020-01 3-28 | 2020-02 1-3)"}};
  for (const auto& [stamps, told] : cases) EXPECT_EQ(Told(stamps), told);
}

TEST(Capture, IsToldInFigures) {
  std::string told;
  for (const Moment duration : {500, 1234567891, 59000, 60000, 90000, 300000, 3540000, 3599000,
                                3600000, 11100000, 172740000, 172800000, 187200000}) {
    told += DurationText(duration) + ", ";
  }
  EXPECT_EQ(told,
            "0.5 s, 1234567.891 s, 59 s, 1 min, 90 s, 5 min, 59 min, 3599 s, 1 h, 3 h 5 min, "
            "47 h 59 min, 2 d, 2 d 4 h, ");
  EXPECT_EQ(PercentText({"", "", 9999, 1}) + PercentText({"", "", 903, 97}), "99.9 %90.3 %");
  EXPECT_EQ(RecordsText(1) + RecordsText(0) + Grouped(999) + Grouped(-123456) + Grouped(1234567),
            "1 record0 records999-123,4561,234,567");
}

TEST(Capture, TakesOnlyDatesOfTheCalendar) {
  for (const char* stamp :
       {"", "2020-02-30", "2020-13-01", "2020-00-10", "2020-01-00", "2020-01-01 24:00:00",
        "2020-01-01 x", "2020-01-01 00:60:00", "2020-01-01 00:00:61", "2020-01-01 00:00",
        "2020-01-01 00:00:00.", "2020-01-01 00:00:00.a1", "2020-01-01 00:00:00,1",
        "2020-01-01 00:00:00 "}) {
    EXPECT_FALSE(MomentOf(stamp)) << stamp;
  }
  std::string told;
  for (const char* stamp : {"2016-12-31 23:59:60", "2020-01-01 00:00:00.5",
                            "2020-01-01 00:00:00.1239", "1969-12-31 23:59:59.250", "9999-12-31"})
    told += TimeStampOf(*MomentOf(stamp)) + ", ";
  for (const char* text :
       {"2038-01", "2020-02-29", "2020-12-31 23:59", "2020-01-01 00:00:59", "2021-02-29",
        "2020-02-30 07:00", "2020-13", "2020-06-31 00:00:00", "2020-01x", ""}) {
    const auto span = SpanOf(text);
    told += span ? StampFrom(span->begin) + " to " + StampFrom(span->end) + ", " : "none, ";
  }
  for (const char* text : {"-7d", "-12h", "-1m", "-0m", "-d", "7d", "-7", "-7s", "-7dd", "--7d",
                           "-99999999999d", ""}) {
    const auto back = BackOf(text);
    told += back ? DurationText(*back) + ", " : "none, ";
  }
  EXPECT_EQ(
      told,
      R"(2017-01-01 00:00:00, 2020-01-01 00:00:00.500, 2020-01-01 00:00:00.123, 1969-12-31 23:59:59.250, 9999-12-31 00:00:00, 2038-01-01 to 2038-02-01, 2020-02-29 to 2020-03-01, 2020-12-31 23:59:00 to 2021-01-01, 2020-01-01 00:00:59 to 2020-01-01 00:01:00, none, none, none, none, none, none, 7 d, 12 h, 1 min, none, none, none, none, none, none, none, none, none, )");
}

/// How the command ends, and why.
std::string Ended(const Outcome& outcome, const std::string& file) {
  try {
    RequireWhole(file, outcome);
  } catch (const Failure& failure) {
    return std::to_string(failure.status) + " " + failure.what() + "\n";
  }
  return "0\n";
}

TEST(Outcome, IsToldInWordsAndJson) {
  Outcome outcome;
  outcome.whole = true;
  outcome.records = 1234;
  outcome.newest = "2020-02-04";
  std::string told = OutcomeText("a.csv", outcome, true) + Ended(outcome, "a.csv");
  outcome.rejected = 1;
  outcome.capture = Capture({0, kDay, 2 * kDay, 5 * kDay, 6 * kDay, 9 * kDay});
  told += OutcomeText("a.csv", outcome, false) + Ended(outcome, "a.csv");
  outcome.rejected = 2;
  told += Ended(outcome, "-");
  outcome.whole = false;
  outcome.older = 5;
  outcome.oldest = "2020-01-01";
  told += OutcomeText("a.csv", outcome, false) + Ended(outcome, "a.csv");
  outcome.unclear = 1;
  outcome.capture = Capture({0, kDay, 4 * kDay});
  outcome.unreached = "0000-00-00";
  outcome.parts = {{"2020-01-01", "2020-01-02", 3, 1, true},
                   {"2020-01-03", "2020-01-03", 0, 0, false}};
  told += OutcomeText("a.csv", outcome, true) + OutcomeJson("PROVE", "a.csv", outcome, true);
  EXPECT_EQ(told, R"(a.csv holds all 1,234 records of the instrument up to 2020-02-04.
0
a.csv holds 1,234 records up to 2020-02-04.
Logged every 24 h: 2 gaps of 4 records, 60.0 % are there.
5 1 record of the instrument cannot be one in a file: a.csv.rejected keeps what came.
5 2 records of the instrument cannot be such in a file: download into one, and what came is kept beside it.
a.csv holds 1,234 records from 2020-01-01 up to 2020-02-04, and 5 that it no longer has.
  The instrument counts others, and no record tells where: the line changes bytes, records come and go, or the clock was set back and the database orders them otherwise than by their time stamps.
Logged every 24 h: 2 gaps of 4 records, 60.0 % are there.
4 a.csv does not hold what the instrument holds.
a.csv holds 1,234 records from 2020-01-01 up to 2020-02-04, and 5 that it no longer has.
  2020-01-01 to 2020-01-02: lacks at least 3 records, and has at least 1 record that the instrument does not have
  2020-01-03: differs
  Its oldest record is of 0000-00-00: what is earlier than the year 1 the gateway does not send.
1 record with more commas than there are fields: which text has them is not known, so they stand as they came.
Logged every 24 h: 1 gap of 2 records, 60.0 % are there.
last before          first behind         missing
1970-01-02 00:00:00  1970-01-05 00:00:00  2
day                       there  missing  share
1970-01-01                1      0        100.0 %
1970-01-02                1      0        100.0 %
1970-01-03 to 1970-01-04  0      2        0.0 %
1970-01-05                1      0        100.0 %
{"command":"PROVE","file":"a.csv","whole":false,"records":1234,"older":5,"rejected":2,"unclear":1,"newest":"2020-02-04","parts":[{"from":"2020-01-01","to":"2020-01-02","lacks":3,"more":1,"atLeast":true},{"from":"2020-01-03","to":"2020-01-03","lacks":0,"more":0,"atLeast":false}],"interval":86400.000000,"missing":2,"gaps":[{"after":"1970-01-02 00:00:00","before":"1970-01-05 00:00:00","missing":2}],"days":[{"from":"1970-01-01","to":"1970-01-01","present":1,"missing":0},{"from":"1970-01-02","to":"1970-01-02","present":1,"missing":0},{"from":"1970-01-03","to":"1970-01-04","present":0,"missing":2},{"from":"1970-01-05","to":"1970-01-05","present":1,"missing":0}]}
)");
}

}  // namespace
