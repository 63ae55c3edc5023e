#include <signal.h>
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "fixture.h"

namespace {

/// The records of a download, put into one order: records of one time stamp come in any.
std::vector<std::string> Records(const std::string& file) {
  std::istringstream lines(file);
  std::vector<std::string> records;
  std::string latest;
  std::string line;
  std::getline(lines, line);
  EXPECT_EQ(line, "Date,Time,number,half");
  while (std::getline(lines, line)) {
    const std::string stamp = line.substr(0, line.find(',', 11));
    EXPECT_LE(latest, stamp);
    latest = stamp;
    records.push_back(line);
  }
  std::sort(records.begin(), records.end());
  return records;
}

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
  for (const int signal : {SIGINT, SIGTERM, SIGKILL, SIGKILL}) {
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
    return database_.Run(
        "SELECT CONCAT(DATE(time_stamp), ',', TIME(time_stamp), ',', number, ',', "
        "IFNULL(half, '')) FROM LogEntry " +
        condition + " ORDER BY 1");
  };
  EXPECT_EQ(Records(ReadFile(file)), expected(""));
  EXPECT_EQ(Ask({"areg", "17"}).output, "17  " + pointer + "\n");

  // Nothing new; then one more record, of the newest time stamp.
  EXPECT_EQ(Ask({"download", file}).status, 0);
  database_.Run("INSERT INTO LogEntry SELECT MAX(time_stamp), 9999, 1 FROM LogEntry");
  EXPECT_EQ(Ask({"download", file}).status, 0);
  EXPECT_EQ(Records(ReadFile(file)), expected(""));

  // From elsewhere, and to standard output.
  EXPECT_EQ(Records(Ask({"download", "-", "--from", "2020-01-01 07:00"}).output),
            expected("WHERE time_stamp >= '2020-01-01 07:00'"));
  EXPECT_EQ(Records(Ask({"download", "-", "--from", "pointer"}).output),
            expected("WHERE time_stamp > '2020-01-01 01:00:00'"));
  EXPECT_EQ(Records(Ask({"download", "-", "--from", "2020-01-01 03:00:01"}).output),
            expected("WHERE time_stamp >= '2020-01-01 03:00:01'"));
  EXPECT_EQ(Records(Ask({"download", "-", "--from", "2020-1-1 7:00"}).output),
            expected("WHERE time_stamp >= '2020-01-01 07:00'"));
  EXPECT_EQ(Ask({"download", "-", "--from", "yesterday"}).status, 1);
  EXPECT_EQ(Ask({"download", "-", "--from", "2020-01-01 07:00:00rubbish"}).status, 1);

  // Files that are not of this download stay as they are, and so does the pointer.
  WriteFile(file, "Date,Time,number,half,more\n");
  ASSERT_EQ(Ask({"ereg", "17", pointer}).status, 0);
  EXPECT_EQ(Ask({"download", file}).status, 1);
  EXPECT_EQ(ReadFile(file), "Date,Time,number,half,more\n");
  EXPECT_EQ(Ask({"areg", "17"}).output, "17  " + pointer + "\n");
  EXPECT_EQ(Ask({"download", LabPath("")}).status, 1);
  WriteFile(file, "Date,Ti");
  EXPECT_EQ(Ask({"download", file}).status, 0);
  EXPECT_EQ(Records(ReadFile(file)), expected(""));

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
  EXPECT_EQ(Records(ReadFile(file)), expected("WHERE time_stamp > '2020-01-01 03:00:00'"));
  EXPECT_NE(access((file + ".begin").c_str(), F_OK), 0);
  // What an earlier one left beside a file that is gone says nothing.
  std::filesystem::remove(file);
  ASSERT_EQ(Ask({"ereg", "17", "2020-01-01 07:00:00"}).status, 0);
  WriteFile(file + ".begin", "2020-01-01 03:00:00");
  EXPECT_EQ(Ask({"download", file, "--from", "pointer"}).status, 0);
  EXPECT_EQ(Records(ReadFile(file)), expected("WHERE time_stamp > '2020-01-01 07:00:00'"));
  EXPECT_EQ(Ask({"areg", "17"}).output, "17  2020-01-01 07:08:00\n");

  // What cannot be a record costs itself alone, and is found in its own file once.
  std::filesystem::remove(file);
  database_.Run("ALTER TABLE LogEntry MODIFY half VARCHAR(20)");
  const char* const texts[] = {"1\\r\\n2", "a\\nb", "say \"x\"", "1,5"};
  for (int i = 0; i < 4; ++i) {
    database_.Run("UPDATE LogEntry SET half = '" + std::string(texts[i]) +
                  "' WHERE number = " + std::to_string(40 + i));
  }
  for (int run = 0; run < 2; ++run) {
    const Ended ended = Ask({"download", file});
    EXPECT_EQ(ended.status, 5) << ended.errors;
    EXPECT_EQ(ended.errors.find("1 record with more commas") != std::string::npos, run == 0);
    EXPECT_EQ(ReadFile(file + ".rejected"),
              "Time stamp,Why,Bytes\n"
              "2020-01-01 00:05:00,a line end in a text,\"2020-01-01,00:05:00,40,1\\r\\n2\"\n"
              "2020-01-01 00:05:00,a line end in a text,\"2020-01-01,00:05:00,41,a\\nb\"\n");
  }
  // Where nothing keeps it the pointer does not pass it.
  ASSERT_EQ(Ask({"ereg", "17", pointer.substr(0, 10)}).status, 0);
  EXPECT_EQ(Ask({"download", "-", "--from", "pointer"}).status, 5);
  EXPECT_EQ(Ask({"areg", "17"}).output, "17  " + pointer.substr(0, 10) + "\n");
  auto all = expected("WHERE number NOT BETWEEN 40 AND 42");
  all.push_back("2020-01-01,00:06:00,42,\"say \"\"x\"\"\"");
  std::sort(all.begin(), all.end());
  EXPECT_EQ(Records(ReadFile(file)), all);
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
      database_.Run("DROP TABLE IF EXISTS LogEntry");
      database_.Run(std::string("CREATE TABLE LogEntry (time_stamp ") + type +
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
      EXPECT_EQ(Records(ReadFile(file)),
                database_.Run("SELECT CONCAT(SUBSTRING_INDEX(time_stamp, ' ', 1), ',', "
                              "SUBSTRING(time_stamp, 12), ',', number, ',0.5') r FROM LogEntry "
                              "ORDER BY BINARY r"));
    }
  }
  // Removed there, kept here.
  database_.Run("DELETE FROM LogEntry WHERE time_stamp < '2016-12-31 23:56'");
  const Ended proof = Ask({"prove", file});
  EXPECT_EQ(proof.status, 0);
  EXPECT_NE(proof.output.find("holds all 241 records of the instrument up to 2016-12-31 23:59:60, "
                              "and 59 that it no longer has.\n"),
            std::string::npos)
      << proof.output;
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
