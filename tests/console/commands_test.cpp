#include <filesystem>

#include "fixture.h"

namespace {

TEST_F(Console, AnswersItsCommands) {
  database_.Run("CREATE TABLE LogEntry (time_stamp DATETIME, mass INT, note TEXT)");
  database_.Run(
      "INSERT INTO LogEntry VALUES ('2020-01-01 00:00:00', 1, 'first'), "
      "('2020-01-01 00:05:00', 2, NULL), ('2020-01-01 00:10:00', 3, '\"q\"')");
  const std::string csv = LabPath("watch.csv");
  WriteFile(LabPath("a.csv"), "Date,Time,mass\n2020-01-01,00:00:00,1\n");
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
      {{"--json", "lcfg"}, 0, R"({"command":"LCFG","status":0,"value":"2"})", ""},
      {{"registers", "--grep", "korvb"},
       0,
       " 65  qmxKORVBFrequency.0\n 66  qmxKORVBTemperature.0\n 67  qmxKORVBState.0",
       ""},
      {{"--json", "registers", "--grep", "KORVBS"},
       0,
       R"({"command":"LPRC","status":0,"highest":139,"names":["qmxKORVBState.0"],)"
       R"("registers":[{"number":67,"name":"qmxKORVBState.0"}]})",
       ""},
      {{"lprc"},
       0,
       "  1  qmxInstrumentType.0\n…\n139  qmxDiagnosticValue.40\n79 registers, highest number 139",
       ""},
      {{"--json", "lprc"},
       0,
       R"({"command":"LPRC","status":0,"highest":139,"names":["qmxInstrumentType.0","qmx…],"registers":[)"
       R"({"number":1,"name":"qmxInstrumentType.0"},…,{"number":139,"name":"qmxDiagnosticValue.40"}]})",
       ""},
      {{"areg", "29-30", "QMXFILTERname", "qmxkorv?state"},
       0,
       "29  300\n30  9127\nQMXFILTERname  F-2291\nqmxKORVAState.0  2\nqmxKORVBState.0  2",
       ""},
      {{"areg", "30-29"}, 1, "", "No range of registers: 30-29."},
      {{"ereg", "qmxK*", "1"}, 1, "", "One register is wanted, not qmxK*."},
      // Behind both gaps of the numbering, by name and by number.
      {{"areg", "qmxKORVBState", "qmxDiagnosticValue.40"},
       0,
       "qmxKORVBState  2\nqmxDiagnosticValue.40  40",
       ""},
      {{"areg", "139"}, 0, "139  40", ""},
      {{"ereg", "qmxAveragingTime", "-5"}, 0, "qmxAveragingTime is set", ""},
      {{"--json", "ereg", "29", "-5"},
       0,
       R"({"command":"EREG","status":0,"register":29,"name":"qmxAveragingTime.0"})",
       ""},
      {{"--json", "areg", "29"},
       0,
       R"({"command":"AREG","status":0,"register":29,"name":"qmxAveragingTime.0","value":"-5"})",
       ""},
      {{"ereg", "qmxOperatorNote", "two words"}, 0, "qmxOperatorNote is set", ""},
      {{"areg", "qmxOperatorNote", "999", "1"},
       4,
       "qmxOperatorNote  two words\n999  refused\n1  Twinex",
       "AREG refused: there is no register 999; \"registers\" lists them."},
      {{"areg", "qmxNothing"}, 1, "", "There is no register qmxNothing; \"registers\" lists them."},
      {{"ldhd"}, 0, "Date,Time,mass,note", ""},
      {{"--json", "ldhd"},
       0,
       R"({"command":"LDHD","status":0,"fields":["Date","Time","mass","note"]})",
       ""},
      {{"ssto", "b"}, 0, "database pointer moved", ""},
      {{"--json", "asto", "5"},
       0,
       R"({"command":"ASTO","status":0,"records":[["2020-01-01","00:05:00","2",""],)"
       R"(["2020-01-01","00:10:00","3","\"q\""]]})",
       ""},
      {{"asto", "5"}, 0, "no further records", ""},
      {{"ssto", "1x"},
       1,
       "",
       "ssto needs B (the oldest record), E (the newest) or a number of records, such as -3."},
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
      {{"sf", "03"}, 0, "SF03 done", ""},
      {{"sf", "99"},
       4,
       "",
       "SF99 refused: there is no such function, but 03, 06, 09, 17, 25 and 26."},
      {{"--channel", "V9", "lcfg"},
       4,
       "",
       "LCFG refused (…): the station has another channel (\"check\" finds it), or the line "
       "changed the request."},
      {{"--channel", "V9", "ssto", "B"},
       4,
       "",
       "SSTO refused (…): the station has another channel…"},
      {{"--station", "5", "--timeout", "0.3", "lcfg"},
       3,
       "",
       nothing + "station than 5, or speak GNP (qmxRS232Mode 1, --protocol gnp)" + silent},
      {{"raw", "4LCFG", "K0"}, 0, "<STX>4LCFG 0 2<ETX><CR><LF>", ""},
      {{"--json", "raw", "4LCFG K0"},
       0,
       R"({"command":"raw","answer":"\u00024LCFG 0 2\u0003\u000d\u000a"})",
       ""},
      {{"raw"}, 1, "", "raw needs a text."},
      {{"--timeout", "0.3", "raw", "LCFG", "K0"},
       3,
       "",
       "No reply. A request begins with the station, such as: 4LCFG K0"},
      {{"ereg", "--help"},
       0,
       "Write a register: ereg REGISTER VALUE\nUsage: … DEVICE ereg REGISTER "
       "VALUE\n\nPositionals:\n"
       "  REGISTER                    Register number or name\n"
       "  VALUE                       A number, or a text, blanks included\n\nOptions:\n"
       "  -h,--help                   Print this help message and exit\n\n"
       "Example: qmx-console /dev/ttyUSB0 ereg qmxAveragingTime 60",
       ""},
      {{"raw", "4XXXX K0"}, 4, "<STX>4???? 0 SE<ETX><CR><LF>", "Refused."},
      {{"--trace", "lcfg"},
       0,
       "instrument type 2",
       "TIME > <STX>4LCFG K0<ETX>\nTIME < <STX>4LCFG 0 2<ETX><CR><LF>"},
      {{"watch", "29", "1", "70", "--count", "2", "--every", "0.1", "--csv", csv},
       0,
       "START  29 qmxAveragingTime.0 -5  1 qmxInstrumentType.0 Twinex  70 refused\n"
       "START  29 qmxAveragingTime.0 -5  1 qmxInstrumentType.0 Twinex  70 refused",
       ""},
      {{"watch", "29", "1", "70", "--count", "1", "--csv", csv}, 0, "… Twinex  70 refused", ""},
      {{"watch", "29", "--count", "1", "--csv", csv},
       1,
       "",
       csv + " is no file of this watch; its first line would be: time,29 qmxAveragingTime.0"},
      {{"--protocol", "gnp", "lcfg"},
       1,
       "",
       "lcfg is an AK command; --protocol gnp has check, da, listen, raw and watch."},
      {{"ereg", "qmxOperatorNote", "late", "--json"},
       1,
       "",
       "--json comes too late: options stand before the device or command."},
      {{"prove", "-"}, 1, "", "prove needs a file: what went to standard output is in none."},
      {{"--timeout", "nan", "lcfg"}, 1, "", "--timeout: …"},
      {{"listen", "--for", "nan"}, 1, "", "--for: …"},
      {{"watch", "1", "--every", "nan"}, 1, "", "--every: …"},
      {{"ereg", "29"}, 1, "", "ereg needs a register and a value."},
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
      {{"areg", "4294967297"}, 1, "", "There is no register 4294967297."},
      {{"sf", "123"},
       1,
       "",
       "CODE: 2 digits are wanted, not 123\nRun with --help for more information."},
      {{"--json", "areg", "999"},
       4,
       R"({"command":"AREG","status":0,"register":999,"name":null,"value":"","refused":true})",
       "AREG refused: there is no register 999; \"registers\" lists them."},
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
            "timeout=2\nstation=5\n[roof]\ndevice=" + device_ + "\nstation=4\n");
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
      {"qmx-console roof lcfg >/dev/full", 1},
      {"qmx-console roof lcfg >&-", 1},
      {"qmx-console roof watch 1 >/dev/full", 1},
  };
  ASSERT_EQ(Ask({"lcfg"}).status, 0);  // The gateway has started.
  for (const auto& row : kTable) {
    const Ended ended = RunToEnd({"sh", "-c",
                                  "export PATH=$QMX_BIN:$PATH HOME=" + LabPath("") +
                                      " DEVICE=" + device_ + "; " + row.words});
    EXPECT_EQ(ended.status, row.status) << row.words << ended.errors;
  }
}

TEST_F(Console, ReadsCommandsLineByLine) {
  const Ended ended =
      RunToEnd({"sh", "-c",
                "printf 'LCFG\nareg --help\nbogus\n\nsf 99\nset station 55\nset station 5\n"
                "set timeout 2\nlcfg\nset station 4\nset json on\nlcfg\nset json off\nhelp LCFG\n"
                "set protocol gnp\nlcfg\nset protocol ak\nset timeout nan\nset\ntrace "
                "on\nhelp\nlcfg\nquit\nlcfg\n' | " +
                    Program("qmx-console") + " " + device_});
  EXPECT_EQ(ended.status, 1);
  for (const char* text : {"instrument type 2\nRead ", "\"value\":\"2\"}\nInstrument type number\n",
                           "\nprotocol  ak\ntimeout   2\njson      off\n", "\nquit "}) {
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
