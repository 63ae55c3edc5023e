#include <filesystem>

#include "fixture.h"

namespace {

TEST_F(Console, AnswersItsCommands) {
  database_.Run("CREATE TABLE LogEntry (time_stamp DATETIME, mass INT, note TEXT)");
  database_.Run(
      "INSERT INTO LogEntry VALUES ('2020-01-01 00:00:00', 1, 'first'), "
      "('2020-01-01 00:05:00', 2, NULL), ('2020-01-01 00:10:00', 3, '\"q\"')");
  const std::string watched = LabPath("watch.csv");
  const std::string csv = LabPath("all.csv");
  const std::string page = LabPath("all.html");
  const std::string whole =
      R"(","whole":true,"records":3,"older":0,"rejected":0,"unclear":0,"newest":"2020-01-01 00:10:00",)"
      R"("parts":[],"interval":300.000000,"missing":0,"gaps":[],"days":[{"from":"2020-01-01",)"
      R"("to":"2020-01-01","present":3,"missing":0}]})";
  const std::string holds =
      " holds all 3 records of the instrument up to 2020-01-01 00:10:00.\n"
      "Logged every 5 min: no gaps.";
  const std::string days =
      "\nday         there  missing  share\n2020-01-01  3      0        100.0 %";
  WriteFile(LabPath("a.csv"),
            "Date,Time,mass,note\n2020-01-01,00:00:00,1,first\n2020-01-01,00:10:00,3,q\n");
  const std::string port =
      "ok     port       " + device_ +
      " is open, for nobody else\nok     line       silent before the first request\n";
  const std::string nothing = "No reply, not a byte. The instrument may have another ";
  const std::string silent =
      "; its agent may not answer; the cable may be a wrong one; the gateway may not run. "
      "\"check\" looks for it.";
  const std::string mode = ", location 001, operating status: mode 1\n";
  const std::string value = R"(,"location":"001","operating":"mode 1","errors":[]})";
  const struct {
    std::vector<std::string> words;
    int status;
    std::string output;  // without the last line end
    std::string errors;
  } kTable[] = {
      {{"lcfg"}, 0, "instrument type 2", ""},
      {{"registers", "--grep", "korvb"},
       0,
       " 65  qmxKORVBFrequency.0\n 66  qmxKORVBTemperature.0\n 67  qmxKORVBState.0",
       ""},
      {{"lprc"},
       0,
       "  1  qmxInstrumentType.0\n…\n139  qmxDiagnosticValue.40\n79 registers, highest number 139",
       ""},
      {{"areg", "29-30", "QMXFILTERname", "qmxkorv?state"},
       0,
       "29  300\n30  9127\nQMXFILTERname  F-2291\nqmxKORVAState.0  2\nqmxKORVBState.0  2",
       ""},
      // Behind both gaps of the numbering, by name and by number.
      {{"areg", "qmxKORVBState", "qmxDiagnosticValue.40"},
       0,
       "qmxKORVBState  2\nqmxDiagnosticValue.40  40",
       ""},
      {{"areg", "139"}, 0, "139  40", ""},
      {{"ereg", "qmxAveragingTime", "-5"}, 0, "qmxAveragingTime is set", ""},
      {{"ereg", "qmxOperatorNote", "two words"}, 0, "qmxOperatorNote is set", ""},
      {{"areg", "qmxOperatorNote", "999", "1"},
       4,
       "qmxOperatorNote  two words\n999  refused\n1  Twinex",
       "AREG refused: there is no register 999; \"registers\" lists them."},
      {{"ldhd"}, 0, "Date,Time,mass,note", ""},
      {{"ssto", "b"}, 0, "database pointer moved", ""},
      {{"--json", "asto", "5"},
       0,
       R"({"command":"ASTO","status":0,"records":[["2020-01-01","00:05:00","2",""],)"
       R"(["2020-01-01","00:10:00","3","\"q\""]]})",
       ""},
      {{"asto", "5"}, 0, "no further records", ""},
      {{"ssto", "-9"}, 0, "database pointer moved", ""},
      {{"asto", "1"}, 0, "2020-01-01  00:05:00  2", ""},
      {{"--station", "7", "--channel", "Z9", "check", "--newest", "--report",
        LabPath("check.html")},
       4,
       port +
           "ok     protocol   AK\nFOUND  station    4\nFOUND  channel    K0\n"
           "ok     time       … ms from a request to the end of its reply\n"
           "ok     type       2, Twinex\nok     status     the status condition is 0\n"
           "ok     registers  79, the highest number is 139; 1 and 139 answer\n"
           "ok     records    4 fields: Date,Time,mass,note\n"
           "ok     pointer    records are read up to 2020-01-01 00:05:00, … days ago\n"
           "LOOK   newest     the newest record is of 2020-01-01 00:10:00, … days ago\n"
           "ok     values     79 registers read\nUse: qmx-console " +
           device_,
       "There is something to look at."},
      {{"asto", "1"}, 0, "2020-01-01  00:10:00  3  \"q\"", ""},
      {{"--json", "download", csv, "--gaps"},
       0,
       R"({"command":"DOWNLOAD","file":")" + csv + whole,
       "3 records, 80 bytes, …\n" + csv + holds},
      {{"download", csv, "--gaps"}, 0, "", "nothing new\n" + csv + holds + days},
      {{"download", "-", "--from", "2020-01-01 00:10"},
       0,
       "Date,Time,mass,note\n2020-01-01,00:10:00,3,\"\"\"q\"\"\"",
       "1 record, …\n- holds all …"},
      {{"--json", "prove", csv, "--gaps"}, 0, R"({"command":"PROVE","file":")" + csv + whole, ""},
      {{"prove", csv, "--gaps"}, 0, csv + holds + days, ""},
      {{"prove", LabPath("a.csv")},
       4,
       "…",
       LabPath("a.csv") + " does not hold what the instrument holds."},
      {{"report", csv, "-o", page}, 0, page + " shows the records; it opens in any browser.", ""},
      {{"sf", "03"}, 0, "SF03 done", ""},
      {{"--channel", "V9", "lcfg"},
       4,
       "",
       "LCFG refused (…): the station has another channel (\"check\" finds it), or the line "
       "changed the request."},
      {{"--station", "5", "--timeout", "0.3", "lcfg"},
       3,
       "",
       nothing + "station than 5, or speak GNP (qmxRS232Mode 1, --protocol gnp)" + silent},
      {{"raw", "4LCFG", "K0"}, 0, "<STX>4LCFG 0 2<ETX><CR><LF>", ""},
      {{"ereg", "--help"},
       0,
       "Write a register: ereg REGISTER VALUE\nUsage: … DEVICE ereg REGISTER "
       "VALUE\n\nPositionals:\n"
       "  REGISTER                    Register number or name\n"
       "  VALUE                       A number, or a text, blanks included\n\nOptions:\n"
       "  -h,--help                   Print this help message and exit\n\n"
       "Example: qmx-console /dev/ttyUSB0 ereg qmxAveragingTime 60",
       ""},
      {{"--trace", "lcfg"},
       0,
       "instrument type 2",
       "TIME > <STX>4LCFG K0<ETX>\nTIME < <STX>4LCFG 0 2<ETX><CR><LF>"},
      {{"watch", "29", "1", "70", "--count", "2", "--every", "0.1", "--csv", watched},
       0,
       "START  29 qmxAveragingTime.0 -5  1 qmxInstrumentType.0 Twinex  70 refused\n"
       "START  29 qmxAveragingTime.0 -5  1 qmxInstrumentType.0 Twinex  70 refused",
       ""},
      {{"watch", "29", "1", "70", "--count", "1", "--csv", watched}, 0, "… Twinex  70 refused", ""},
      {{"watch", "29", "--count", "1", "--csv", watched},
       1,
       "",
       watched + " is no file of this watch; its first line would be: time,29 qmxAveragingTime.0"},
      {{"ereg", "97",
        "a\x03\x02"
        "4EREG K0 29 7"},
       1,
       "",
       "A request cannot have the byte STX, ETX or NUL in it."},
      {{"lcfg", "--json"}, 0, R"({"command":"LCFG","status":0,"value":"2"})", ""},
      {{"ereg", "1", std::string(245, 'x')},
       1,
       "",
       "The gateway takes no request of more than 255 characters."},
      {{"frobnicate"},
       1,
       "",
       "The following argument was not expected: frobnicate\nRun with --help for more "
       "information."},
      {{"ereg", "qmxRS232Mode", "1"}, 0, "qmxRS232Mode is set", ""},
      {{"da"},
       0,
       "register 018  …  (+…)\n  component 001" + mode + "register 021  …\n  component 002" + mode +
           "register 024  …\n  component 003" + mode +
           "check value … is right, response end <CR><LF>",
       ""},
      {{"--timeout", "0.3", "lcfg"},
       3,
       "",
       nothing + "station than 4, or speak GNP (qmxRS232Mode 1, --protocol gnp)" + silent},
      {{"--protocol", "gnp", "watch", "--count", "1"}, 0, "START  18 …  21 …  24 …", ""},
      {{"--protocol", "gnp", "report", LabPath("a.csv")}, 0, LabPath("a.html") + " shows …", ""},
      {{"--json", "--id", "001", "da"},
       0,
       R"({"command":"DA","blocks":[{"register":"018","name":null,"value":…,"component":"001")" +
           value + R"(,{"register":"021",…)" + value + "," + "…" + value +
           R"(],"check":"…","end":"\u000d\u000a"})",
       ""},
      {{"--id", "002", "--timeout", "0.3", "da"},
       3,
       "",
       nothing + "id than 002, or speak AK (qmxRS232Mode 0)" + silent},
      {{"--protocol", "gnp", "raw", "XY"}, 4, "<STX>Unknown command.<ETX><CR><LF>", "Refused."},
  };
  for (const auto& row : kTable) {
    const Ended ended = Ask(row.words);
    std::string words;
    for (const std::string& word : row.words) words += word + " ";
    EXPECT_EQ(ended.status, row.status) << words << ended.errors;
    for (const auto& [told, wanted] :
         {std::pair(ended.output, row.output), {ended.errors, row.errors}}) {
      EXPECT_TRUE(Fits(Timeless(told), wanted + (wanted.empty() ? "" : "\n"))) << words << "\n"
                                                                               << told;
    }
  }
  EXPECT_NE(ReadFile(page).find("<tr><th>status condition</th><td>0</td></tr>\n"
                                "<tr><th>instrument type (LCFG)</th><td>2</td></tr>\n"
                                "<tr><th>qmxInstrumentType.0</th><td>Twinex</td></tr>\n"),
            std::string::npos);
  const std::string rows = std::regex_replace(
      ReadFile(watched), std::regex("[0-9]{4}-[0-9-]*T[0-9:]*[+-][0-9]{4}"), "TIME");
  EXPECT_EQ(rows,
            "time,29 qmxAveragingTime.0,1 qmxInstrumentType.0,70\nTIME,-5,Twinex,\n"
            "TIME,-5,Twinex,\nTIME,-5,Twinex,\n");
}

/// The command line, the line's own settings, the environment, and what is set for all lines.
TEST_F(Console, ReadsItsConfiguration) {
  database_.Run("CREATE OR REPLACE TABLE LogEntry SELECT NOW() time_stamp");
  std::filesystem::create_directory(LabPath(".config"));
  WriteFile(LabPath(".config/qmx-console.conf"),
            "timeout=2\nstation=5\n[roof]\ndevice=" + device_ + "\nstation=4\n[hall]\nid=001\n");
  std::filesystem::create_directories(LabPath("odd/.config/qmx-console.conf"));
  const std::string silent = "No reply, not a byte. The instrument may have another station than ";
  const std::string full = "The output cannot be written.\n";
  const std::string cellar = "cellar is no command, no device, and no line of the configuration";
  const struct {
    const char* words;
    int status;
    std::string errors;
  } kTable[] = {
      {"QMX_STATION=6 qmx-console roof lcfg", 0, ""},
      {"QMX_DEVICE=roof QMX_STATION= qmx-console lcfg", 0, ""},
      {"QMX_DEVICE=/dev/null qmx-console roof lcfg", 0, ""},
      {"qmx-console --station 6 roof lcfg", 3, silent + "6, …"},
      {"qmx-console $DEVICE lcfg", 3, silent + "5, …"},
      {"QMX_STATION=4 qmx-console $DEVICE lcfg", 0, ""},
      {"QMX_STATION=44 qmx-console $DEVICE lcfg", 1,
       "QMX_STATION: one character is wanted, not 44.\n"},
      {"qmx-console cellar lcfg", 1, cellar + " (hall, roof).\n"},
      {"HOME=/ qmx-console cellar lcfg", 1, cellar + ".\n"},
      {"env -u HOME qmx-console $DEVICE lcfg", 0, ""},
      {"HOME=$HOME/odd qmx-console $DEVICE lcfg", 1,
       "…/odd/.config/qmx-console.conf cannot be read.\n"},
      {"qmx-console hall lcfg", 1, "The configuration names no device for hall.\n"},
      {"qmx-console lcfg", 1, "DEVICE is required: the serial device, such as /dev/ttyUSB0.\n"},
      {"qmx-console", 1, "DEVICE is required\nRun with --help for more information.\n"},
      {"qmx-console $(printf %0300d 0) lcfg", 1, "filesystem error: status: File name too long…"},
      {"qmx-console --record /nowhere/x roof lcfg", 1,
       "/nowhere/x cannot be written: No such file or directory.\n"},
      {"qmx-console --record /dev/full roof lcfg", 1,
       "/dev/full cannot be written: No space left on device.\n"},
      {"qmx-console --version >/dev/full", 1, ""},
      {"qmx-console roof lcfg >/dev/full", 1, full},
      {"qmx-console roof lcfg >&-", 1, full},
      {"qmx-console roof watch 1 >/dev/full", 1, full},
      {"(sleep 0.1; qmx-console roof download -; echo $? >&2) | :", 0, "…cannot be written…\n1\n"},
  };
  ASSERT_EQ(Ask({"lcfg"}).status, 0);  // The gateway has started.
  for (const auto& row : kTable) {
    const Ended ended = RunToEnd({"sh", "-c",
                                  "export PATH=$QMX_BIN:$PATH HOME=" + LabPath("") +
                                      " DEVICE=" + device_ + "; " + row.words});
    EXPECT_EQ(ended.status, row.status) << row.words;
    EXPECT_TRUE(Fits(ended.errors, row.errors)) << row.words << "\n" << ended.errors;
  }
}

TEST_F(Console, ReadsCommandsLineByLine) {
  const Ended ended = RunToEnd(
      {"sh", "-c",
       "printf 'LCFG\nareg --help\nset station 5\nset timeout 0.3\nlcfg\nset station 4\n"
       "set timeout 9\nhelp LCFG\ntrace on\nhelp\nlcfg\ntrace off\nlcfg\nquit\nlcfg\n' | " +
           Program("qmx-console") + " " + device_});
  EXPECT_EQ(ended.status, 3);
  EXPECT_TRUE(Fits(ended.output,
                   "instrument type 2\nRead registers: areg REGISTER...\nUsage: areg [OPTIONS] "
                   "REGISTER...\n…\nInstrument type number\n…\nquit       Leave the prompt\n"
                   "instrument type 2\ninstrument type 2\n"))
      << ended.output;
  EXPECT_TRUE(Fits(Timeless(ended.errors),
                   "No reply, not a byte. The instrument may have another station than 5, …\n"
                   "TIME > <STX>4LCFG K0<ETX>\nTIME < <STX>4LCFG 0 2<ETX><CR><LF>\n"))
      << ended.errors;
}

}  // namespace
