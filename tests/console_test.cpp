// The shipped console against the shipped gateway and the simulated instrument.
#include <gtest/gtest.h>
#include <signal.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "lab.h"

namespace {

struct Ended {
  int status;
  std::string output;
  std::string errors;
};

Ended RunToEnd(const std::vector<std::string>& command) {
  Child child(command);
  const int status = child.Wait(60000);
  return {status, child.Output(), child.Errors()};
}

/// The records of a download, put into one order: records of one time stamp come in any.
std::vector<std::string> Records(const std::string& file) {
  std::istringstream lines(file);
  std::vector<std::string> records;
  std::string latest;
  std::string line;
  std::getline(lines, line);
  EXPECT_EQ(line, "Date,Time,number,half");
  while (std::getline(lines, line)) {
    EXPECT_LE(latest, line.substr(0, 19));
    latest = line.substr(0, 19);
    records.push_back(line);
  }
  std::sort(records.begin(), records.end());
  return records;
}

class Console : public testing::Test {
 protected:
  Ended Ask(std::vector<std::string> words) {
    words.insert(words.begin(), {Program("qmx-console"), device_});
    return RunToEnd(words);
  }

  Database database_;
  Child instrument_{{Program("qmx-instrument"), "--type", "Twinex", "--diagnostics", "40"}};
  Child cable_{
      {"socat", "pty,rawer,link=" + LabPath("logger"), "pty,rawer,link=" + LabPath("port")}};
  const bool plugged_ = WaitFor([] { return access(LabPath("port").c_str(), F_OK) == 0; });
  Child gateway_{{Program("qmx-gateway"), LabPath("port")}};
  const std::string device_ = LabPath("logger");
};

TEST_F(Console, AnswersItsCommands) {
  database_.Run("CREATE TABLE LogEntry (time_stamp DATETIME, mass INT, note TEXT)");
  database_.Run(
      "INSERT INTO LogEntry VALUES ('2020-01-01 00:00:00', 1, 'first'), "
      "('2020-01-01 00:05:00', 2, NULL), ('2020-01-01 00:10:00', 3, '\"q\"')");
  const struct {
    std::vector<std::string> words;
    int status;
    const char* output;
    const char* errors;
  } kTable[] = {
      {{"lcfg"}, 0, "instrument type 2\n", ""},
      {{"--json", "lcfg"}, 0, "{\"command\":\"LCFG\",\"status\":0,\"value\":\"2\"}\n", ""},
      {{"registers", "--grep", "KORVB"},
       0,
       "qmxKORVBFrequency.0\nqmxKORVBTemperature.0\nqmxKORVBState.0\n",
       ""},
      // Behind both gaps of the numbering, by name and by number.
      {{"areg", "qmxKORVBState", "qmxDiagnosticValue.40"},
       0,
       "qmxKORVBState  2\nqmxDiagnosticValue.40  40\n",
       ""},
      {{"areg", "139"}, 0, "139  40\n", ""},
      {{"ereg", "qmxAveragingTime", "-5"}, 0, "qmxAveragingTime is set\n", ""},
      {{"--json", "areg", "qmxAveragingTime"},
       0,
       "{\"command\":\"AREG\",\"status\":0,\"register\":29,\"value\":\"-5\"}\n",
       ""},
      {{"ereg", "qmxOperatorNote", "two words"}, 0, "qmxOperatorNote is set\n", ""},
      {{"areg", "qmxOperatorNote", "999", "1"},
       4,
       "qmxOperatorNote  two words\n999  refused\n1  Twinex\n",
       "AREG refused: there is no register 999"},
      {{"areg", "qmxNothing"}, 1, "", "There is no register qmxNothing"},
      {{"ldhd"}, 0, "Date,Time,mass,note\n", ""},
      {{"ssto", "B"}, 0, "database pointer moved\n", ""},
      {{"--json", "asto", "5"},
       0,
       "{\"command\":\"ASTO\",\"status\":0,\"records\":[[\"2020-01-01\",\"00:05:00\",\"2\",\"\"],"
       "[\"2020-01-01\",\"00:10:00\",\"3\",\"\\\"q\\\"\"]]}\n",
       ""},
      {{"asto", "5"}, 0, "no further records\n", ""},
      {{"ssto", "-9"}, 0, "database pointer moved\n", ""},
      {{"asto", "1"}, 0, "2020-01-01  00:05:00  2\n", ""},
      {{"sf", "03"}, 0, "SF03 done\n", ""},
      {{"sf", "99"}, 4, "", "SF99 refused."},
      {{"--channel", "V9", "lcfg"}, 4, "", "LCFG refused: unknown, or another channel."},
      {{"--station", "5", "--timeout", "0.3", "lcfg"}, 3, "", "No reply. Check the protocol"},
      {{"raw", "4LCFG", "K0"}, 0, "<STX>4LCFG 0 2<ETX><CR><LF>\n", ""},
      {{"raw", "4XXXX K0"}, 4, "<STX>4???? 0 SE<ETX><CR><LF>\n", "Refused."},
      {{"--trace", "lcfg"},
       0,
       "instrument type 2\n",
       "> <STX>4LCFG K0<ETX>\n< <STX>4LCFG 0 2<ETX><CR><LF>\n"},
      {{"watch", "29", "1", "--count", "2", "--every", "0.1"}, 0, "  29 -5  1 Twinex\n", ""},
      {{"--protocol", "gnp", "lcfg"}, 1, "", "lcfg is an AK command"},
      {{"ereg", "qmxOperatorNote", "late", "--json"}, 1, "", "--json comes too late"},
      {{"lcfg", "--json"}, 0, "{\"command\":\"LCFG\",\"status\":0,\"value\":\"2\"}\n", ""},
      {{"ereg", "1", std::string(248, 'x')}, 1, "", "The gateway takes no request of more than"},
      {{"areg", "4294967297"}, 1, "", "There is no register 4294967297"},
      {{"sf", "123"}, 1, "", "CODE: 2 digits are wanted"},
      {{"--json", "areg", "999"},
       4,
       "{\"command\":\"AREG\",\"status\":0,\"register\":999,\"value\":\"\",\"refused\":true}\n",
       "AREG refused"},
      {{"frobnicate"}, 1, "", "The following argument was not expected: frobnicate"},
      {{"ereg", "qmxRS232Mode", "1"}, 0, "qmxRS232Mode is set\n", ""},
      {{"da"}, 0, "check value", ""},
      {{"--json", "--id", "001", "da"}, 0, "\"operating\":\"mode 1\",\"errors\":[]", ""},
      {{"--id", "002", "--timeout", "0.3", "da"}, 3, "", "No reply. Check the protocol"},
      {{"--protocol", "gnp", "raw", "XY"}, 4, "<STX>Unknown command.<ETX><CR><LF>\n", "Refused."},
  };
  for (const auto& row : kTable) {
    const Ended ended = Ask(row.words);
    std::string words;
    for (const std::string& word : row.words) words += word + " ";
    EXPECT_EQ(ended.status, row.status) << words << ended.errors;
    const bool whole = std::string(row.output).empty() || *row.output == '{';
    if (whole) {
      EXPECT_EQ(ended.output, row.output) << words;
    } else {
      EXPECT_NE(ended.output.find(row.output), std::string::npos) << words << ended.output;
    }
    const std::size_t compared = *row.errors == 0 ? std::string::npos : std::strlen(row.errors);
    EXPECT_EQ(ended.errors.substr(0, compared), row.errors) << words;
  }
}

TEST_F(Console, ReadsCommandsLineByLine) {
  const Ended ended = RunToEnd(
      {"sh", "-c",
       "printf 'lcfg\nareg --help\nbogus\n\nsf 99\ntrace on\nhelp\nlcfg\nquit\nlcfg\n' | " +
           Program("qmx-console") + " " + device_});
  EXPECT_EQ(ended.status, 4);
  EXPECT_EQ(ended.output.compare(0, 23, "instrument type 2\nRead "), 0) << ended.output;
  EXPECT_NE(ended.output.find("\nquit "), std::string::npos) << ended.output;
  EXPECT_EQ(ended.errors,
            "There is no command bogus; \"help\" lists them.\nSF99 refused.\n"
            "> <STX>4LCFG K0<ETX>\n< <STX>4LCFG 0 2<ETX><CR><LF>\n");
}

TEST_F(Console, TakesInterruptsAtItsPrompt) {
  database_.Run("CREATE TABLE LogEntry (time_stamp DATETIME, note TEXT)");
  database_.Run(
      "INSERT INTO LogEntry SELECT '2020-01-01' + INTERVAL seq MINUTE, 'plain' FROM "
      "seq_1_to_2000");
  ASSERT_EQ(Ask({"ereg", "17", "2021-01-01"}).status, 0);
  const Line terminal;
  Child console({"sh", "-c",
                 "HOME=" + LabPath("") + " exec setsid --wait --ctty " + Program("qmx-console") +
                     " " + device_ + " <" + terminal.Device() + " >" + terminal.Device() +
                     " 2>&1"});
  const auto shows = [&terminal](const std::string& text) {
    return terminal.ReceiveUntil(text).size() >= text.size();
  };
  // A line that is being typed is forgotten.
  ASSERT_TRUE(shows("qmx> "));
  terminal.Send("ereg 29 7");
  ASSERT_TRUE(shows("29 7"));
  terminal.Send("\x03");
  ASSERT_TRUE(shows("qmx> "));
  terminal.Send("areg 29\r");
  EXPECT_TRUE(shows("29  300\r\n"));
  // A download puts the pointer back.
  const std::string file = LabPath("prompt.csv");
  ASSERT_TRUE(shows("qmx> "));
  terminal.Send("download " + file + " --batch 2\r");
  ASSERT_TRUE(WaitFor([&file] { return ReadFile(file).size() > 100; }));
  terminal.Send("\x03");
  EXPECT_TRUE(shows("the same command goes on from here"));
  ASSERT_TRUE(shows("qmx> "));
  terminal.Send("areg 17\r");
  EXPECT_TRUE(shows("17  2021-01-01\r\n"));
  // The end leaves the terminal as it was.
  ASSERT_TRUE(shows("qmx> "));
  console.Signal(SIGTERM);
  EXPECT_EQ(console.Wait(), 128 + SIGTERM);
  termios after{};
  ASSERT_EQ(tcgetattr(terminal.Master(), &after), 0);
  EXPECT_NE(after.c_lflag & ICANON, 0U);
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
  EXPECT_NE(last.errors.find("records, "), std::string::npos) << last.errors;

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
  EXPECT_EQ(Records(Ask({"download", "-", "--from", "2020-1-1 7:00"}).output),
            expected("WHERE time_stamp >= '2020-01-01 07:00'"));
  EXPECT_EQ(Ask({"download", "-", "--from", "yesterday"}).status, 1);
  EXPECT_EQ(Ask({"download", "-", "--from", "2020-01-01 07:00:00rubbish"}).status, 1);

  // Files that are not of this download stay as they are, and so does the pointer.
  for (const char* text : {"Date,Time,other\n", "a note", "Date,Time,number,half,more\n"}) {
    WriteFile(file, text);
    ASSERT_EQ(Ask({"ereg", "17", pointer}).status, 0);
    EXPECT_EQ(Ask({"download", file}).status, 1);
    EXPECT_EQ(ReadFile(file), text);
    EXPECT_EQ(Ask({"areg", "17"}).output, "17  " + pointer + "\n");
  }
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

  // A line that is none of a record: nothing behind it is taken for one.
  std::filesystem::remove(file);
  database_.Run("ALTER TABLE LogEntry MODIFY half VARCHAR(20)");
  database_.Run("UPDATE LogEntry SET half = '1\r\n2' WHERE number = 40");
  EXPECT_EQ(Ask({"download", file}).status, 5);
  EXPECT_EQ(ReadFile(file), "Date,Time,number,half\n");
}

/// Replies that no gateway sends, played by the test itself.
TEST(ConsoleLine, TellsNoiseFromReplies) {
  const struct {
    std::vector<std::string> words;
    const char* reply;
    int status;
    const char* told;
  } kTable[] = {
      {{"lcfg"}, "x<x00><ETX>~<STX>4LCFG 0 5<ETX><CR><LF>", 0, "instrument type 5"},
      {{"lcfg"}, "noise", 3, "No reply."},
      {{"lcfg"}, "<STX>4LCFG 0", 5, "The reply breaks off: <STX>4LCFG 0"},
      {{"lcfg"}, "<STX>4LCFG 0 5<ETX><LF><CR><CR><LF>", 5, "The reply does not end in CR LF"},
      {{"lcfg"}, "<STX>4LCFG x 5<ETX><CR><LF>", 5, "The reply has no status condition"},
      {{"lcfg"}, "<STX>5LCFG 0 5<ETX><CR><LF>", 5, "The reply is no AK reply of station 4"},
      {{"lcfg"}, "<STX>4AREG 0 5<ETX><CR><LF>", 5, "The reply is for another request"},
      {{"areg", "7"}, "<STX>4AREG 0 8 5<ETX><CR><LF>", 5, "The reply is for another register"},
      {{"areg", "7"}, "<STX>4AREG 0 7 <x1B>[2J<ETX><CR><LF>", 0, "7  <x1B>[2J"},
      {{"ereg", "7", "5"}, "<STX>4EREG 0 8<ETX><CR><LF>", 5, "The reply is for another register"},
      {{"lprc"}, "<STX>4LPRC 0 n<ETX><CR><LF>", 5, "The reply has no number"},
      {{"asto", "2"}, "<STX>4ASTO 0 3<ETX><CR><LF>", 5, "More records than were asked for"},
      {{"asto", "2"}, "<STX>4ASTO 0 1<ETX><CR><LF>a,b<CR><LF>c", 5, "something else"},
      {{"asto", "2"},
       "<STX>4ASTO 0 2<ETX><CR><LF>a,b,1<CR><LF>a,b",
       5,
       "The reply breaks off: record 2: a,b"},
      {{"asto", "1"},
       "<STX>4ASTO 0 1<ETX><CR><LF>a,b,1<CR><LF><STX>4ASTO 0 SE<ETX><CR><LF>",
       4,
       "could not be moved"},
      {{"da"}, "<STX>MD01 001 +1234-02 04 00 001 012    <ETX>3E", 0, "register 012  12.34"},
      {{"da"}, "<STX>MD01 001 +1234-02 04 00 001 012    <ETX>3F", 5, "it should be 3E"},
      {{"da"}, "<STX>MD01 001 +abcd-02 04 00 001 012    <ETX>3E", 5, "No value block"},
      {{"da"}, "<STX>MD02 001 +1234-02 04 00 001 012    <ETX>3D", 5, "No MD frame"},
      {{"da"}, "<STX>MD01 001+01234-02 04 00 001 012    <ETX>35", 5, "No value block"},
  };
  for (const auto& row : kTable) {
    const Line line;
    std::vector<std::string> command = {Program("qmx-console"), line.Device(), "--timeout", "0.3"};
    command.insert(command.end(), row.words.begin(), row.words.end());
    Child console(command);
    EXPECT_FALSE(line.ReceiveUntil("\x03").empty());
    line.Send(Bytes(row.reply));
    EXPECT_EQ(console.Wait(), row.status) << row.reply;
    EXPECT_NE((console.Output() + console.Errors()).find(row.told), std::string::npos)
        << row.reply << "\n"
        << console.Output() << console.Errors();
  }
}

TEST(ConsoleLine, TakesNoLateReplyForTheNextOne) {
  const Line line;
  Child console({"sh", "-c",
                 "printf 'areg 7\\nareg 7\\n' | " + Program("qmx-console") + " --timeout 0.3 " +
                     line.Device()});
  EXPECT_EQ(line.ReceiveUntil("\x03"), Request("4AREG K0 7"));
  EXPECT_EQ(line.ReceiveUntil("\x03"), Request("4???? K0"));
  line.Send(Reply("4AREG 0 7 late") + Reply("4???? 0 SE"));
  EXPECT_EQ(line.ReceiveUntil("\x03"), Request("4AREG K0 7"));
  line.Send(Reply("4AREG 0 7 fresh"));
  EXPECT_EQ(console.Wait(), 3);
  EXPECT_EQ(console.Output(), "7  fresh\n");
}

TEST(ConsoleLine, TellsWhatToDoAboutADevice) {
  const auto errors = [](const std::string& device) {
    const Ended ended = RunToEnd({Program("qmx-console"), device, "lcfg"});
    EXPECT_EQ(ended.status, 2);
    return ended.errors;
  };
  EXPECT_NE(errors("/dev/ttyNone").find("Serial devices here:"), std::string::npos);
  EXPECT_NE(errors("/dev/null").find("is no serial device"), std::string::npos);
  const Line line;
  const Child user({Program("qmx-console"), line.Device(), "--timeout", "30", "lcfg"});
  EXPECT_FALSE(line.ReceiveUntil("\x03").empty());
  EXPECT_NE(errors(line.Device()).find("in use by another console"), std::string::npos);
}

}  // namespace
