#include <algorithm>
#include <csignal>
#include <filesystem>
#include <thread>

#include "fixture.h"

namespace {

TEST_F(Console, AnswersItsCommands) {
  database_.Run("CREATE TABLE LogEntry (time_stamp DATETIME, mass INT, note TEXT)");
  database_.Run(
      "INSERT INTO LogEntry VALUES ('2020-01-01 00:00:00', 1, 'first'), "
      "('2020-01-01 00:05:00', 2, NULL), ('2020-01-01 00:10:00', 3, '\"q\"')");
  const std::string csv = LabPath("watch.csv");
  const struct {
    std::vector<std::string> words;
    int status;
    std::string output;
    std::string errors;
  } kTable[] = {
      {{"lcfg"}, 0, "instrument type 2\n", ""},
      {{"--json", "lcfg"}, 0, "{\"command\":\"LCFG\",\"status\":0,\"value\":\"2\"}\n", ""},
      {{"registers", "--grep", "korvb"},
       0,
       " 65  qmxKORVBFrequency.0\n 66  qmxKORVBTemperature.0\n 67  qmxKORVBState.0\n",
       ""},
      {{"--json", "registers", "--grep", "KORVBS"},
       0,
       "{\"command\":\"LPRC\",\"status\":0,\"highest\":139,\"names\":[\"qmxKORVBState.0\"],"
       "\"registers\":[{\"number\":67,\"name\":\"qmxKORVBState.0\"}]}\n",
       ""},
      {{"areg", "29-30", "QMXFILTERname", "qmxkorv?state"},
       0,
       "29  300\n30  9127\nQMXFILTERname  F-2291\nqmxKORVAState.0  2\nqmxKORVBState.0  2\n",
       ""},
      {{"areg", "30-29"}, 1, "", "No range of registers: 30-29."},
      {{"ereg", "qmxK*", "1"}, 1, "", "One register is wanted, not qmxK*."},
      // Behind both gaps of the numbering, by name and by number.
      {{"areg", "qmxKORVBState", "qmxDiagnosticValue.40"},
       0,
       "qmxKORVBState  2\nqmxDiagnosticValue.40  40\n",
       ""},
      {{"areg", "139"}, 0, "139  40\n", ""},
      {{"ereg", "qmxAveragingTime", "-5"}, 0, "qmxAveragingTime is set\n", ""},
      {{"--json", "areg", "29"},
       0,
       "{\"command\":\"AREG\",\"status\":0,\"register\":29,\"name\":\"qmxAveragingTime.0\","
       "\"value\":\"-5\"}\n",
       ""},
      {{"ereg", "qmxOperatorNote", "two words"}, 0, "qmxOperatorNote is set\n", ""},
      {{"areg", "qmxOperatorNote", "999", "1"},
       4,
       "qmxOperatorNote  two words\n999  refused\n1  Twinex\n",
       "AREG refused: there is no register 999; \"registers\" lists them.\n"},
      {{"areg", "qmxNothing"}, 1, "", "There is no register qmxNothing"},
      {{"ldhd"}, 0, "Date,Time,mass,note\n", ""},
      {{"ssto", "B"}, 0, "database pointer moved\n", ""},
      {{"--json", "asto", "5"},
       0,
       "{\"command\":\"ASTO\",\"status\":0,\"records\":[[\"2020-01-01\",\"00:05:00\",\"2\",\"\"],"
       "[\"2020-01-01\",\"00:10:00\",\"3\",\"\\\"q\\\"\"]]}\n",
       ""},
      {{"asto", "5"}, 0, "no further records\n", ""},
      {{"ssto", "1x"}, 1, "", "ssto needs B (the oldest record), E (the newest) or a number"},
      {{"ssto", "-9"}, 0, "database pointer moved\n", ""},
      {{"asto", "1"}, 0, "2020-01-01  00:05:00  2\n", ""},
      {{"--station", "7", "--channel", "Z9", "check"},
       4,
       "FOUND  station    4\nFOUND  channel    K0\nok     time ",
       "There is something to look at."},
      {{"check", "--report", LabPath("check.html")},
       0,
       "139 answer\nok     records    4 fields",
       ""},
      {{"check"}, 0, "ok     pointer    records are read up to 2020-01-01 00:05:00", ""},
      {{"check", "--newest"},
       4,
       "LOOK   newest     the newest record is of 2020-01-01 00:10:00",
       "There is something to look at."},
      {{"asto", "1"}, 0, "2020-01-01  00:10:00  3", ""},
      {{"sf", "03"}, 0, "SF03 done\n", ""},
      {{"sf", "99"}, 4, "", "SF99 refused: there is no such function"},
      {{"--channel", "V9", "lcfg"}, 4, "", "LCFG refused ("},
      {{"--channel", "V9", "ssto", "B"}, 4, "", "SSTO refused ("},
      {{"--station", "5", "--timeout", "0.3", "lcfg"},
       3,
       "",
       "No reply, not a byte. The instrument may have another"},
      {{"raw", "4LCFG", "K0"}, 0, "<STX>4LCFG 0 2<ETX><CR><LF>\n", ""},
      {{"--timeout", "0.3", "raw", "LCFG", "K0"},
       3,
       "",
       "No reply. A request begins with the station, such as: 4LCFG K0"},
      {{"ereg", "--help"}, 0, "DEVICE ereg REGISTER VALUE", ""},
      {{"raw", "4XXXX K0"}, 4, "<STX>4???? 0 SE<ETX><CR><LF>\n", "Refused."},
      {{"--trace", "lcfg"},
       0,
       "instrument type 2\n",
       "TIME > <STX>4LCFG K0<ETX>\nTIME < <STX>4LCFG 0 2<ETX><CR><LF>\n"},
      {{"watch", "29", "1", "70", "--count", "2", "--every", "0.1", "--csv", csv},
       0,
       "  29 qmxAveragingTime.0 -5  1 qmxInstrumentType.0 Twinex  70 refused\n",
       ""},
      {{"watch", "29", "1", "70", "--count", "1", "--csv", csv}, 0, " Twinex  70 refused\n", ""},
      {{"watch", "29", "--count", "1", "--csv", csv}, 1, "", csv + " is no file of this watch; "},
      {{"--json", "watch", "29", "--count", "1"},
       0,
       "\",\"register\":29,\"name\":\"qmxAveragingTime.0\",\"value\":\"-5\"}\n",
       ""},
      {{"--protocol", "gnp", "lcfg"}, 1, "", "lcfg is an AK command"},
      {{"ereg", "qmxOperatorNote", "late", "--json"}, 1, "", "--json comes too late"},
      {{"lcfg", "--json"}, 0, "{\"command\":\"LCFG\",\"status\":0,\"value\":\"2\"}\n", ""},
      {{"ereg", "1", std::string(248, 'x')}, 1, "", "The gateway takes no request of more than"},
      {{"areg", "4294967297"}, 1, "", "There is no register 4294967297"},
      {{"sf", "123"}, 1, "", "CODE: 2 digits are wanted"},
      {{"--json", "areg", "999"},
       4,
       "{\"command\":\"AREG\",\"status\":0,\"register\":999,\"name\":null,\"value\":\"\","
       "\"refused\":true}\n",
       "AREG refused"},
      {{"frobnicate"}, 1, "", "The following argument was not expected: frobnicate"},
      {{"ereg", "qmxRS232Mode", "1"}, 0, "qmxRS232Mode is set\n", ""},
      {{"da"}, 0, "check value", ""},
      {{"--timeout", "0.3", "lcfg"}, 3, "", "No reply, not a byte."},
      {{"da"}, 0, "register 018", ""},
      {{"--protocol", "gnp", "watch", "--count", "1"}, 0, "  18 ", ""},
      {{"--protocol", "gnp", "watch", "29"}, 1, "", "On a GNP line watch shows the registers of"},
      {{"check"},
       4,
       "FOUND  protocol   GNP\nok     id         001\n",
       "There is something to look at."},
      {{"--json", "--id", "001", "da"}, 0, "\"operating\":\"mode 1\",\"errors\":[]", ""},
      {{"--id", "002", "--timeout", "0.3", "da"},
       3,
       "",
       "No reply, not a byte. The instrument may have another id than 002"},
      {{"--protocol", "gnp", "raw", "XY"}, 4, "<STX>Unknown command.<ETX><CR><LF>\n", "Refused."},
  };
  for (const auto& row : kTable) {
    const Ended ended = Ask(row.words);
    std::string words;
    for (const std::string& word : row.words) words += word + " ";
    EXPECT_EQ(ended.status, row.status) << words << ended.errors;
    const bool whole = row.output.empty() || row.output[0] == '{';
    if (whole) {
      EXPECT_EQ(ended.output, row.output) << words;
    } else {
      EXPECT_NE(ended.output.find(row.output), std::string::npos) << words << ended.output;
    }
    const std::size_t compared = row.errors.empty() ? std::string::npos : row.errors.size();
    EXPECT_EQ(Timeless(ended.errors).substr(0, compared), row.errors) << words;
  }
  const std::string rows =
      std::regex_replace(ReadFile(csv), std::regex("[0-9]{4}-[0-9-]*T[0-9:]*[+-][0-9]{4}"), "TIME");
  EXPECT_EQ(rows,
            "time,29 qmxAveragingTime.0,1 qmxInstrumentType.0,70\nTIME,-5,Twinex,\n"
            "TIME,-5,Twinex,\nTIME,-5,Twinex,\n");
}

/// The command line, the line's own settings, the environment, and what is set for all lines.
TEST_F(Console, ReadsItsConfiguration) {
  std::filesystem::create_directory(LabPath(".config"));
  WriteFile(LabPath(".config/qmx-console.conf"),
            "timeout=0.3\nstation=5\n[roof]\ndevice=" + device_ + "\nstation=4\n");
  const struct {
    const char* words;
    int status;
  } kTable[] = {
      {"QMX_STATION=6 qmx-console roof lcfg", 0},
      {"QMX_DEVICE=roof qmx-console lcfg", 0},
      {"QMX_DEVICE=/dev/null qmx-console roof lcfg", 0},
      {"qmx-console --station 6 roof lcfg", 3},
      {"qmx-console $DEVICE lcfg", 3},
      {"QMX_STATION=4 qmx-console $DEVICE lcfg", 0},
      {"QMX_STATION=44 qmx-console $DEVICE lcfg", 1},
      {"qmx-console cellar lcfg", 1},
  };
  ASSERT_EQ(Ask({"lcfg"}).status, 0);  // The gateway has started.
  for (const auto& row : kTable) {
    const Ended ended = RunToEnd({"sh", "-c",
                                  "export PATH=$QMX_BIN:$PATH HOME=" + LabPath("") +
                                      " DEVICE=" + device_ + "; " + row.words});
    EXPECT_EQ(ended.status, row.status) << row.words << ended.errors;
  }
}

TEST_F(Console, ReadsNoSoonerThanItIsTold) {
  Child user({Program("qmx-console"), device_, "watch", "1", "--every", "4000"});
  EXPECT_TRUE(WaitFor([&] { return !user.Output().empty(); })) << user.Errors();
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  user.Signal(SIGINT);
  user.Wait();
  const std::string output = user.Output();
  EXPECT_EQ(std::count(output.begin(), output.end(), '\n'), 1) << output;
}

TEST_F(Console, ReadsCommandsLineByLine) {
  const Ended ended = RunToEnd(
      {"sh", "-c",
       "printf 'LCFG\nareg --help\nbogus\n\nsf 99\nset station 55\nset station 5\n"
       "set timeout 0.3\nlcfg\nset station 4\nset json on\nlcfg\nset json off\nhelp LCFG\n"
       "set protocol gnp\nlcfg\nset protocol ak\nset\ntrace on\nhelp\nlcfg\nquit\nlcfg\n' | " +
           Program("qmx-console") + " " + device_});
  EXPECT_EQ(ended.status, 1);
  for (const char* text : {"instrument type 2\nRead ", "\"value\":\"2\"}\nInstrument type number\n",
                           "\nprotocol  ak\ntimeout   0.3\njson      off\n", "\nquit "}) {
    EXPECT_NE(ended.output.find(text), std::string::npos) << text << "\n" << ended.output;
  }
  for (const char* text :
       {"There is no command bogus; \"help\" lists them.\n"
        "SF99 refused: there is no such function, but 03, 06, 09, 17, 25 and 26.\n"
        "set station: one character is wanted, not 55.\nNo reply, not a byte. The instrument may "
        "have another "
        "station "
        "than 5",
        "\nlcfg is an AK command; --protocol gnp has ",
        "\nTIME > <STX>4LCFG K0<ETX>\nTIME < <STX>4LCFG 0 2<ETX><CR><LF>\n"}) {
    EXPECT_NE(Timeless(ended.errors).find(text), std::string::npos) << text << "\n" << ended.errors;
  }
}

}  // namespace
