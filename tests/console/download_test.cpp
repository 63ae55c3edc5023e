#include <signal.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "fixture.h"
#include "record_model.h"

namespace {

TEST_F(Console, DownloadsEveryRecordOnceThroughInterruptions) {
  // Groups of one time stamp, one of them larger than a batch.
  database_.Run(
      "CREATE TABLE LogEntry (time_stamp DATETIME, number INT, half FLOAT, INDEX (time_stamp))");
  database_.Run(
      "INSERT INTO LogEntry SELECT '2020-01-01 00:00:00' + INTERVAL seq DIV 7 MINUTE, seq, "
      "IF(seq % 5 = 0, NULL, seq / 2) FROM seq_1_to_3000");
  database_.Run("INSERT INTO LogEntry SELECT '2020-01-01 03:00:01', 5, 0.5 FROM seq_1_to_100");

  const std::string pointer = "2020-01-01 01:00:00";
  ASSERT_EQ(Ask({"ereg", "17", pointer}).status, 0);

  // Interrupted, it finishes its batch and puts the pointer back; killed, it can do neither.
  const std::string file = LabPath("records.csv");
  const auto size = [&file] { return ReadFile(file).size(); };
  for (const int signal : {SIGINT, SIGTERM, SIGKILL}) {
    const std::size_t before = size();
    Child download({Program("qmx-console"), device_, "download", file, "--batch", "30"});
    ASSERT_TRUE(WaitFor([&] { return size() > before + 3000; })) << download.Errors();
    download.Signal(signal);
    EXPECT_EQ(download.Wait(), 128 + signal) << download.Errors();
    if (signal == SIGKILL) {
      std::ofstream(file, std::ios::app) << "2020-01-01,00:";
    } else {
      EXPECT_EQ(Ask({"areg", "17"}).output, "17  " + pointer + "\n");
    }
  }
  ASSERT_EQ(Ask({"ereg", "17", pointer}).status, 0);
  const Ended last = Ask({"download", file, "--batch", "30"});
  EXPECT_EQ(last.status, 0) << last.errors;
  EXPECT_TRUE(Fits(last.errors, "… records, … bytes, … records/s, up to 2020-01-01 07:08:00\n" +
                                    file +
                                    " holds all 3,100 records of the instrument up to 2020-01-01 "
                                    "07:08:00.\nLogged every …\n") &&
              last.errors.find('\x1b') == std::string::npos)
      << last.errors;

  const auto expected = [this](const std::string& condition) {
    const auto rows = database_.Run(
        "SELECT CONCAT(DATE(time_stamp), ',', TIME(time_stamp), ',', number, ',', "
        "IFNULL(half, '')) FROM LogEntry " +
        condition);
    return Lines(rows.begin(), rows.end());
  };
  EXPECT_EQ(LinesOf(file), expected(""));
  EXPECT_EQ(Ask({"areg", "17"}).output, "17  " + pointer + "\n");
  WriteFile(file, Ask({"download", "-", "--from", "pointer"}).output);
  EXPECT_EQ(LinesOf(file), expected("WHERE time_stamp > '2020-01-01 01:00:00'"));

  // From the pointer, killed before the file tells how far it is.
  std::filesystem::remove(file);
  ASSERT_EQ(Ask({"ereg", "17", "2020-01-01 03:00:00"}).status, 0);
  {
    Child download({Program("qmx-console"), device_, "download", file, "--from", "pointer",
                    "--batch", "1000"});
    ASSERT_TRUE(WaitFor([&file] { return access((file + ".begin").c_str(), F_OK) == 0; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    download.Signal(SIGKILL);
  }
  EXPECT_EQ(Ask({"download", file, "--from", "pointer"}).status, 0);
  EXPECT_EQ(LinesOf(file), expected("WHERE time_stamp > '2020-01-01 03:00:00'"));
  EXPECT_NE(access((file + ".begin").c_str(), F_OK), 0);
  // What an earlier one left beside a file that is gone says nothing.
  std::filesystem::remove(file);
  ASSERT_EQ(Ask({"ereg", "17", "2020-01-01 07:00:00"}).status, 0);
  WriteFile(file + ".begin", "2020-01-01 03:00:00");
  EXPECT_EQ(Ask({"download", file, "--from", "pointer"}).status, 0);
  EXPECT_EQ(LinesOf(file), expected("WHERE time_stamp > '2020-01-01 07:00:00'"));
  EXPECT_EQ(Ask({"areg", "17"}).output, "17  2020-01-01 07:08:00\n");

  // What cannot be a record costs itself alone, and is found in its own file once.
  std::filesystem::remove(file);
  database_.Run("ALTER TABLE LogEntry MODIFY half VARCHAR(20)");
  database_.Run("UPDATE LogEntry SET half = '1\\r\\n2' WHERE number = 40");
  database_.Run("UPDATE LogEntry SET half = 'say \"x\"' WHERE number = 41");
  database_.Run("UPDATE LogEntry SET half = '1,5' WHERE number = 42");
  for (int run = 0; run < 2; ++run) {
    const Ended ended = Ask({"download", file});
    EXPECT_EQ(ended.status, 5) << ended.errors;
    EXPECT_EQ(ended.errors.find("1 record with more commas") != std::string::npos, run == 0);
    EXPECT_EQ(ReadFile(file + ".rejected"),
              "Time stamp,Why,Bytes\n"
              "2020-01-01 00:05:00,a line end in a text,\"2020-01-01,00:05:00,40,1\\r\\n2\"\n");
  }
  // Where nothing keeps it the pointer does not pass it.
  ASSERT_EQ(Ask({"ereg", "17", pointer.substr(0, 10)}).status, 0);
  EXPECT_EQ(Ask({"download", "-", "--from", "pointer"}).status, 5);
  EXPECT_EQ(Ask({"areg", "17"}).output, "17  " + pointer.substr(0, 10) + "\n");
  Lines all = expected("WHERE number NOT BETWEEN 40 AND 41");
  all.insert("2020-01-01,00:05:00,41,\"say \"\"x\"\"\"");
  EXPECT_EQ(LinesOf(file), all);
}

TEST_F(Console, DownloadsWhatClocksHaveHidden) {
  const char* const cases[][3] = {
      {"DATETIME", "'2026-10-25' + INTERVAL 5 * seq MINUTE, seq",  // boot in 1970
       "IF(seq < 60, '1970-01-01 00:00:07', '2026-10-26') + INTERVAL 5 * seq MINUTE, seq"},
      {"DATE", "'2026-10-25' + INTERVAL seq DIV 70 DAY, seq",
       "'2026-10-25' + INTERVAL seq DIV 60 DAY, 1000 + seq"},
      {"VARCHAR(30)", "'2016-12-31 23:55:00' + INTERVAL seq SECOND, seq",
       "IF(seq = 7, '2016-12-31 23:59:60', '2016-12-31 23:58:00' + INTERVAL seq SECOND), seq"},
  };
  const std::string file = LabPath("clocks.csv");
  for (const auto& [type, first, then] : cases) {
    SCOPED_TRACE(type);
    database_.Run("DROP TABLE IF EXISTS LogEntry");
    database_.Run(std::string("CREATE TABLE LogEntry (time_stamp ") + type +
                  ", number INT, half FLOAT, INDEX (time_stamp))");
    database_.Run(std::string("INSERT INTO LogEntry SELECT ") + first + ", 0.5 FROM seq_1_to_200");
    std::filesystem::remove(file);
    Child download({Program("qmx-console"), device_, "download", file, "--batch", "15"});
    EXPECT_TRUE(WaitFor([&] { return ReadFile(file).size() > 3000; }));
    download.Signal(SIGKILL);
    download.Wait();
    database_.Run(std::string("INSERT INTO LogEntry SELECT ") + then + ", 0.5 FROM seq_1_to_100");
    const Ended ended = Ask({"download", file});
    EXPECT_TRUE(ended.errors.find("holds all 300 records") != std::string::npos) << ended.errors;
    const auto rows = database_.Run(
        "SELECT CONCAT(SUBSTRING_INDEX(time_stamp, ' ', 1), ',', SUBSTRING(time_stamp, 12), ',', "
        "number, ',0.5') FROM LogEntry");
    EXPECT_EQ(LinesOf(file), Lines(rows.begin(), rows.end()));
  }
  // A page tells the same of a file that begins within a second.
  database_.Run("DROP TABLE LogEntry");
  EXPECT_EQ(Ask({"prove", file}).errors.find("put back"), std::string::npos);
  // What is refused in one step of a check leaves the next ones.
  const std::string judged = Ask({"check", "--newest"}).output;
  EXPECT_NE(judged.find("\nLOOK   records    LDHD refused: no database, or "), std::string::npos);
  EXPECT_NE(judged.find("\nLOOK   newest     SSTO refused: no database, "), std::string::npos);
  database_.Run("CREATE TABLE LogEntry (time_stamp DATETIME(3), number INT)");
  database_.Run(
      "INSERT INTO LogEntry SELECT '2026-10-25 00:00:00.250' + INTERVAL seq SECOND, seq FROM "
      "seq_1_to_100");
  std::filesystem::remove(file);
  EXPECT_EQ(Ask({"download", file, "--from", "2026-10-25 00:01"}).status, 0);
  EXPECT_EQ(Ask({"report", file}).status, 0);
  EXPECT_NE(ReadFile(LabPath("clocks.html")).find("holds all 41 records"), std::string::npos);
}

}  // namespace
