#include <signal.h>
#include <filesystem>
#include <fstream>
#include <thread>

#include "fixture.h"
#include "record_model.h"

namespace {

/// The lines of what is logged.
Lines Logged(Database& database, const std::string& condition = "") {
  const auto rows = database.Run(
      "SELECT CONCAT(SUBSTRING_INDEX(time_stamp, ' ', 1), ',', SUBSTRING(time_stamp, 12), ',', "
      "number, ',', IFNULL(half, '')) FROM LogEntry " +
      condition);
  return {rows.begin(), rows.end()};
}

TEST_F(Console, DownloadsEveryRecordOnceThroughInterruptions) {
  // Groups of one time stamp, one of them larger than a batch.
  database_.Run(
      "CREATE TABLE LogEntry (time_stamp DATETIME, number INT, half FLOAT, INDEX (time_stamp))");
  database_.Run(
      "INSERT INTO LogEntry SELECT '2020-01-01 00:00:00' + INTERVAL seq DIV 7 MINUTE, seq, "
      "IF(seq % 5 = 0, NULL, seq / 2) FROM seq_1_to_3000");
  database_.Run("INSERT INTO LogEntry SELECT '2020-01-01 03:00:01', 5, 0.5 FROM seq_1_to_100");
  const auto set = [this](const std::string& pointer) {
    ASSERT_EQ(Ask({"ereg", "17", pointer}).status, 0);
  };
  const auto stands = [this](const std::string& pointer) {
    EXPECT_EQ(Ask({"areg", "17"}).output, "17  " + pointer + "\n");
  };
  const std::string pointer = "2020-01-01 01:00:00";
  set(pointer);

  // Interrupted, it finishes its batch and puts the pointer back; killed, it can do neither.
  const std::string file = LabPath("records.csv");
  const auto size = [&file] { return ReadFile(file).size(); };
  for (const int signal : {SIGINT, SIGTERM, SIGKILL, SIGKILL}) {
    const std::size_t before = size();
    Child download({Program("qmx-console"), device_, "download", file, "--batch", "30"});
    ASSERT_TRUE(WaitFor([&] { return size() > before + 3000; })) << download.Errors();
    download.Signal(signal);
    EXPECT_EQ(download.Wait(), 128 + signal) << download.Errors();
    if (signal == SIGKILL) {
      std::ofstream(file, std::ios::app) << "2020-01-01,00:";
    } else {
      stands(pointer);
    }
  }
  set(pointer);
  EXPECT_EQ(Ask({"download", file, "--batch", "30"}).status, 0);
  EXPECT_EQ(LinesOf(file), Logged(database_));
  stands(pointer);
  WriteFile(file, Ask({"download", "-", "--from", "2020-01-01 03:00:01"}).output);
  EXPECT_EQ(LinesOf(file), Logged(database_, "WHERE time_stamp >= '2020-01-01 03:00:01'"));

  // From the pointer, killed before the file tells how far it is.
  std::filesystem::remove(file);
  set("2020-01-01 03:00:00");
  {
    Child download({Program("qmx-console"), device_, "download", file, "--from", "pointer",
                    "--batch", "1000"});
    ASSERT_TRUE(WaitFor([&file] { return access((file + ".begin").c_str(), F_OK) == 0; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    download.Signal(SIGKILL);
  }
  EXPECT_EQ(Ask({"download", file, "--from", "pointer"}).status, 0);
  EXPECT_EQ(LinesOf(file), Logged(database_, "WHERE time_stamp > '2020-01-01 03:00:00'"));
  EXPECT_NE(access((file + ".begin").c_str(), F_OK), 0);
  // What an earlier one left beside a file that is gone says nothing.
  std::filesystem::remove(file);
  set("2020-01-01 07:00:00");
  WriteFile(file + ".begin", "2020-01-01 03:00:00");
  EXPECT_EQ(Ask({"download", file, "--from", "pointer"}).status, 0);
  EXPECT_EQ(LinesOf(file), Logged(database_, "WHERE time_stamp > '2020-01-01 07:00:00'"));
  stands("2020-01-01 07:08:00");

  // What cannot be a record costs itself alone; where nothing keeps it the pointer does not pass
  // it.
  database_.Run("ALTER TABLE LogEntry MODIFY half VARCHAR(20)");
  database_.Run("UPDATE LogEntry SET half = '1\\r\\n2' WHERE number = 40");
  EXPECT_EQ(Ask({"download", file}).status, 5);
  EXPECT_EQ(ReadFile(file + ".rejected"),
            "Time stamp,Why,Bytes\n"
            "2020-01-01 00:05:00,a line end in a text,\"2020-01-01,00:05:00,40,1\\r\\n2\"\n");
  EXPECT_EQ(LinesOf(file), Logged(database_, "WHERE number != 40"));
  set("2020-01-01");
  EXPECT_EQ(Ask({"download", "-", "--from", "pointer"}).status, 5);
  stands("2020-01-01");
}

TEST_F(Console, DownloadsWhatClocksHaveHidden) {
  const struct {
    const char* type;
    const char* first;
    const char* then;  // while nobody downloads
  } cases[] = {
      {"DATETIME", "'2026-10-25' + INTERVAL 5 * seq MINUTE, seq",  // autumn
       "'2026-10-25 15:40' + INTERVAL 5 * seq MINUTE, 1000 + seq"},
      {"DATETIME", "'2026-10-25' + INTERVAL 5 * seq MINUTE, seq",  // boot in 1970
       "IF(seq < 60, '1970-01-01 00:00:07', '2026-10-26') + INTERVAL 5 * seq MINUTE, seq"},
      {"DATE", "'2026-10-25' + INTERVAL seq DIV 70 DAY, seq",
       "'2026-10-25' + INTERVAL seq DIV 60 DAY, 1000 + seq"},
      {"VARCHAR(30)", "'2016-12-31 23:55:00' + INTERVAL seq SECOND, seq",
       "IF(seq = 7, '2016-12-31 23:59:60', '2016-12-31 23:58:00' + INTERVAL seq SECOND), seq"},
  };
  const std::string file = LabPath("clocks.csv");
  for (const auto& [type, first, then] : cases) {
    for (const std::size_t cut : {500U, 3000U}) {
      SCOPED_TRACE(std::string(type) + " " + then);
      database_.Run(std::string("CREATE OR REPLACE TABLE LogEntry (time_stamp ") + type +
                    ", number INT, half FLOAT, INDEX (time_stamp))");
      database_.Run(std::string("INSERT INTO LogEntry SELECT ") + first +
                    ", 0.5 FROM seq_1_to_200");
      std::filesystem::remove(file);
      Child download({Program("qmx-console"), device_, "download", file, "--batch", "15"});
      EXPECT_TRUE(WaitFor([&] { return ReadFile(file).size() > cut; }));
      download.Signal(SIGKILL);
      download.Wait();
      database_.Run(std::string("INSERT INTO LogEntry SELECT ") + then + ", 0.5 FROM seq_1_to_100");
      const Ended ended = Ask({"download", file});
      EXPECT_EQ(ended.status, 0) << ended.errors;
      EXPECT_NE(ended.errors.find("holds all 300 records"), std::string::npos) << ended.errors;
      EXPECT_EQ(LinesOf(file), Logged(database_));
    }
  }
  // A page tells the same of a file that begins within a second.
  database_.Run("CREATE OR REPLACE TABLE LogEntry (time_stamp DATETIME(3), number INT)");
  database_.Run(
      "INSERT INTO LogEntry SELECT '2026-10-25 00:00:00.250' + INTERVAL seq SECOND, seq FROM "
      "seq_1_to_100");
  std::filesystem::remove(file);
  EXPECT_EQ(Ask({"download", file, "--from", "2026-10-25 00:01"}).status, 0);
  EXPECT_EQ(Ask({"report", file}).status, 0);
  EXPECT_NE(ReadFile(LabPath("clocks.html")).find("holds all 41 records"), std::string::npos);
}

}  // namespace
