// Records as lines and files, without a line or a database.
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

#include "line/failure.h"
#include "records/record.h"
#include "records/record_file.h"
#include "records/record_store.h"

namespace {

TEST(Record, KeepsEachTextInItsField) {
  const FieldTexts names = {"Date", "Time", "note", "level"};
  const struct {
    FieldTexts names;
    const char* sent;
    const char* line;
    FieldTexts fields;
  } cases[] = {
      {names,
       "2009-06-30,14:00:00,,5",
       "2009-06-30,14:00:00,,5",
       {"2009-06-30", "14:00:00", "", "5"}},
      {names, "d,t,say \"x\",", "d,t,\"say \"\"x\"\"\",", {"d", "t", "say \"x\"", ""}},
      {names, "d,t,\",\"", "d,t,\"\"\"\",\"\"\"\"", {"d", "t", "\"", "\""}},
      {names, "d,t,\"a,b\",c", "d,t,\"a,b\",c", {"d", "t", "a,b", "c"}},  // as it was sent
      {names, "d,t,a,\"b,c", "d,t,a,\"b,c", {"d", "t", "a", "\"b", "c"}},
      {{"Date", "Time", "note"}, "d,t,a,\"b\",", "d,t,\"a,\"\"b\"\",\"", {"d", "t", "a,\"b\","}},
  };
  for (const auto& [its, sent, line, fields] : cases) {
    EXPECT_EQ(LineOf(sent, its), line);
    EXPECT_EQ(SplitLine(line), fields) << line;
  }
}

TEST(Record, TellsWhatIsNone) {
  const FieldTexts names = {"Date", "Time", "a", "b"};
  const FieldTexts none = {"Date", "Time", ""};
  const struct {
    const FieldTexts& names;
    const char* sent;
    const char* flaw;
  } cases[] = {
      {names, "2009-06-30,14:00:00,1,2", ""},
      {names, "2009-06-30,14:00:00.25,1,2,3", ""},
      {names, "2016-12-31,23:59:60,,", ""},
      {names, "2009-06-30,,1,2", ""},
      {none, "2009-06-30 14:00:00", ""},
      {none, "2009-06-30", ""},
      {names, "2009-06-30,14:00:00,1", "fewer fields than names"},
      {names, "2009-06-30 14:00:00", "no date"},
      {names, "2009-13-30,14:00:00,1,2", "no date"},
      {names, "2009-06-32,14:00:00,1,2", "no date"},
      {names, "b,1", "no date"},
      {names, "", "no date"},
      {names, "2009-06-30,24:00:00,1,2", "no time"},
      {names, "2009-06-30,14:60:00,1,2", "no time"},
      {names, "2009-06-30,14:00:61,1,2", "no time"},
      {names, "2009-06-30,14:00:00.,1,2", "no time"},
      {none, "2009-06-30 1400", "no time"},
      {names, "2009-06-30,14:00:00,1\n,2", "a line end in a text"},
  };
  for (const auto& [its, sent, flaw] : cases) EXPECT_EQ(FlawOf(SplitSent(sent), its), flaw) << sent;
}

/// As a TIMESTAMP column's come in a repeated hour.
TEST(RecordStore, KnowsRecordsThatComeOutOfOrder) {
  const std::string file = testing::TempDir() + "store." + std::to_string(getpid());
  const std::string early = "2026-10-25,02:00:00,2";
  const std::string late = "2026-10-25,02:55:00,1";
  std::ofstream(file) << "Date,Time,number\n" << early << "\n" << late << "\n";
  std::vector<std::string> others;
  const RecordStore store(file, "Date,Time,number");
  const auto missing = store.Missing({{TimeStamp(late), late, ""}, {TimeStamp(early), early, ""}},
                                     "2026-10-25 02:30", "2026-10-25 03", others);
  EXPECT_TRUE(missing.empty() && others.empty());
  unlink(file.c_str());
}

TEST(RecordFile, TellsWholeLinesFromCutOnes) {
  const std::string path = testing::TempDir() + "records." + std::to_string(getpid());
  const auto read = [&path](const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
    RecordFile file(path);
    std::string seen = file.Header().text + (file.Header().whole ? "|" : "~");
    for (RecordFile::Line line; file.Next(line);) {
      seen += std::to_string(line.number) + ":" + line.text + (line.whole ? "|" : "~") +
              std::to_string(line.end) + " ";
    }
    return seen + (file.HasCarriageReturns() ? "CR" : "");
  };
  EXPECT_EQ(read(""), "~");
  EXPECT_EQ(read("Date,Ti"), "Date,Ti~");
  EXPECT_EQ(read("Date\n"), "Date|");
  EXPECT_EQ(read("Date\na\n\nb"), "Date|2:a|7 3:|8 4:b~9 ");
  EXPECT_EQ(read("Date\r\na\r\n"), "Date|2:a|9 CR");

  std::ofstream(path, std::ios::binary)
      << "Date,Time,a\n2009-06-30,14:00:00,\"1,2\"\n30.06.09,1,2\n";
  RecordFile file(path);
  RecordFile::Line line;
  ASSERT_TRUE(file.Next(line));
  file.Require(line);
  ASSERT_TRUE(file.Next(line));
  EXPECT_THROW(file.Require(line), Failure);
  EXPECT_THROW(RecordFile{testing::TempDir()}, Failure);
  unlink(path.c_str());
  EXPECT_THROW(RecordFile{path}, Failure);
}

}  // namespace
