#include <filesystem>

#include "fixture.h"

namespace {

/// What a shell is told, or the console on the line; how that ends, and all that it tells, errors
/// behind "!", where … stands for anything.
struct Asked {
  std::string words;
  int status;
  std::string told;
};

void Hold(const std::string& device, const std::vector<Asked>& rows) {
  const std::string start =
      "export PATH=$QMX_BIN:$PATH HOME=" + LabPath("") + " DEVICE=" + device + "; cd; ";
  for (const Asked& row : rows) {
    const bool bare = row.words.find("qmx-console") == std::string::npos;
    const Ended ended =
        RunToEnd({"sh", "-c", start + (bare ? "qmx-console $DEVICE " : "") + row.words});
    const std::string told = ended.output + (ended.errors.empty() ? "" : "!" + ended.errors);
    EXPECT_EQ(ended.status, row.status) << row.words;
    EXPECT_TRUE(Fits(Timeless(told), row.told + (row.told.empty() ? "" : "\n")))
        << row.words << "\n"
        << told;
  }
}

TEST_F(Console, AnswersItsCommands) {
  database_.Run("CREATE TABLE LogEntry (time_stamp DATETIME, mass INT, note TEXT)");
  database_.Run(
      "INSERT INTO LogEntry VALUES ('2020-01-01 00:00:00', 1, 'first'), "
      "('2020-01-01 00:05:00', 2, NULL), ('2020-01-01 00:10:00', 3, '\"q\"')");
  WriteFile(LabPath("a.csv"),
            "Date,Time,mass,note\n2020-01-01,00:00:00,1,first\n2020-01-01,00:10:00,3,q\n");
  const std::string holds =
      "all.csv holds all 3 records of the instrument up to 2020-01-01 00:10:00.\n"
      "Logged every 5 min: no gaps.";
  const std::string days =
      "\nday         there  missing  share\n2020-01-01  3      0        100.0 %";
  const std::string value = "START  29 qmxAveragingTime.0 300  1 qmxInstrumentType.0 Twinex  70 …";
  const std::vector<Asked> rows = {
      {"lprc", 0, "  1  qmx…\n139  qmxDiagnosticValue.40\n79 registers, highest number 139"},
      // Behind both gaps of the numbering, by name and by number.
      {"areg 29-30 QMXFILTERname 'qmxkorv?state' qmxDiagnosticValue.40 139", 0,
       "29  300\n30  9127\nQMXFILTERname  F-2291\nqmxKORVAState.0  2\nqmxKORVBState.0  2\n"
       "qmxDiagnosticValue.40  40\n139  40"},
      {"ereg qmxOperatorNote 'two words'", 0, "qmxOperatorNote is set"},
      {"areg qmxOperatorNote 999", 4, "qmxOperatorNote  two words\n999  refused\n!AREG refused: …"},
      {"ldhd", 0, "Date,Time,mass,note"},
      {"ssto b", 0, "database pointer moved"},
      {"--json asto 1", 0, R"(…[["2020-01-01","00:05:00","2",""]]})"},
      {"--station 7 --channel Z9 check --newest --report check.html", 4,
       "ok     port       " + device_ +
           " is open, for nobody else\n…FOUND  station    4\nFOUND  channel    K0\n…2, Twinex\n…"
           "ok     registers  79, the highest number is 139; 1 and 139 answer\n…"
           "up to 2020-01-01 00:05:00, …of 2020-01-01 00:10:00, …79 registers read\n"
           "Use: qmx-console " +
           device_ + "\n!There is something to look at."},
      {"asto 1", 0, "2020-01-01  00:10:00  3  \"q\""},
      {"download b.csv & until [ -e b.csv ]; do sleep 0.01; done; kill $!; wait $!", 143,
       "!…Interrupted; the same command goes on from here."},
      {"--json download all.csv --gaps", 0,
       R"({"command":"DOWNLOAD","file":"all.csv","whole":true,"records":3,…"missing":0}]})"
       "\n!3 records, 80 bytes, …\n" +
           holds},
      {"download all.csv --gaps", 0, "!nothing new\n" + holds + days},
      {"download - --from '2020-01-01 00:10'", 0,
       "Date,Time,mass,note\n2020-01-01,00:10:00,3,\"\"\"q\"\"\"\n!1 record, …\n- holds all …"},
      // In the background what interrupts others is ignored.
      {"--json prove a.csv & sleep 0.5; kill -INT $!; wait $!", 4,
       R"({"command":"PROVE","file":"a.csv","whole":false,…)"
       "\n!a.csv does not hold what the instrument holds."},
      {"report all.csv -o all.html", 0, "all.html shows the records; it opens in any browser."},
      {"sf 03", 0, "SF03 done"},
      {"--channel V9 lcfg", 4, "!LCFG refused (…): the station has another channel …"},
      {"raw 4LCFG K0", 0, "<STX>4LCFG 0 2<ETX><CR><LF>"},
      {"ereg --help", 0,
       "Write a register: ereg REGISTER VALUE\nUsage: … DEVICE ereg REGISTER VALUE\n…\n"
       "Example: qmx-console /dev/ttyUSB0 ereg qmxAveragingTime 60"},
      {"--trace lcfg --json", 0,
       R"({"command":"LCFG","status":0,"value":"2"})"
       "\n!TIME > <STX>4LCFG K0<ETX>\nTIME < <STX>4LCFG 0 2<ETX><CR><LF>"},
      {"watch 29 1 70 --count 2 --every 0.1 --csv watch.csv", 0, value + "\n" + value},
      {"ereg 97 $(printf 'a\\003')", 1, "!A request cannot have the byte STX, ETX or NUL in it."},
      {"ereg 1 $(printf %0245d 0)", 1,
       "!The gateway takes no request of more than 255 characters."},
      {"frobnicate", 1, "!…expected: frobnicate\nRun with --help for more information."},
      {"ereg qmxRS232Mode 1", 0, "qmxRS232Mode is set"},
      {"--id 001 da", 0,
       "register 018  …\n  component 003, …\ncheck value … is right, response end <CR><LF>"},
      {"--protocol gnp report a.csv", 0, "a.html shows …"},
      {"--protocol gnp raw XY", 4, "<STX>Unknown command.<ETX><CR><LF>\n!Refused."},
  };
  Hold(device_, rows);
  EXPECT_TRUE(Fits(ReadFile(LabPath("all.html")),
                   "…<tr><th>status condition</th><td>0</td></tr>\n"
                   "<tr><th>instrument type (LCFG)</th><td>2</td></tr>\n"
                   "<tr><th>qmxInstrumentType.0</th><td>Twinex</td></tr>\n…"));
  EXPECT_TRUE(
      Fits(ReadFile(LabPath("watch.csv")), "time,29 qmx…,70\n2…,300,Twinex,\n2…,Twinex,\n"));
}

/// The command line, the line's own settings, the environment, and what is set for all lines.
TEST_F(Console, ReadsItsConfiguration) {
  database_.Run("CREATE OR REPLACE TABLE LogEntry SELECT NOW() time_stamp");
  std::filesystem::create_directories(LabPath("odd/.config/qmx-console.conf"));
  std::filesystem::create_directory(LabPath(".config"));
  WriteFile(LabPath(".config/qmx-console.conf"),
            "timeout=2\nstation=5\n[roof]\ndevice=" + device_ + "\nstation=4\n[hall]\nid=001\n");
  const std::string silent = "!No reply, not a byte. The instrument may have another station than ";
  const std::string full = "!The output cannot be written.";
  const std::string cellar = "!cellar is no command, no device, and no line of the configuration";
  const std::string done = "instrument type 2";
  ASSERT_EQ(Ask({"lcfg"}).status, 0);  // The gateway has started.
  const std::vector<Asked> rows = {
      {"QMX_STATION=6 qmx-console roof lcfg", 0, done},
      {"QMX_DEVICE=roof QMX_STATION= qmx-console lcfg", 0, done},
      {"QMX_DEVICE=/dev/null qmx-console roof lcfg", 0, done},
      {"qmx-console --station 6 roof lcfg", 3, silent + "6, …"},
      {"lcfg", 3, silent + "5, …"},
      {"QMX_STATION=4 qmx-console $DEVICE lcfg", 0, done},
      {"QMX_STATION=44 qmx-console $DEVICE lcfg", 1,
       "!QMX_STATION: one character is wanted, not 44."},
      {"qmx-console cellar lcfg", 1, cellar + " (hall, roof)."},
      {"HOME=/ qmx-console cellar lcfg", 1, cellar + "."},
      {"env -u HOME qmx-console $DEVICE lcfg", 0, done},
      {"HOME=$HOME/odd qmx-console $DEVICE lcfg", 1,
       "!…/odd/.config/qmx-console.conf cannot be read."},
      {"qmx-console hall lcfg", 1, "!The configuration names no device for hall."},
      {"qmx-console lcfg", 1, "!DEVICE is required: the serial device, such as /dev/ttyUSB0."},
      {"qmx-console", 1, "!DEVICE is required\nRun with --help for more information."},
      {"qmx-console $(printf %0300d 0) lcfg", 1, "!filesystem error: status: File name too long…"},
      {"qmx-console --record .config/qmx-console.conf roof lcfg", 1,
       "!.config/qmx-console.conf is no recording: name another file."},
      // One that takes no more ends alone.
      {"trap '' XFSZ; ulimit -f 1; qmx-console --record full roof registers --grep averaging", 0,
       " 29  qmxAveragingTime.0\n!The recording ends: full cannot be written: File too large."},
      {"qmx-console --record /dev/full roof lcfg", 1,
       "!/dev/full cannot be written: No space left on device."},
      {"qmx-console --version >/dev/full", 1, ""},
      {"qmx-console roof lcfg >/dev/full", 1, full},
      {"qmx-console roof lcfg >&-", 1, full},
      {"qmx-console roof watch 1 >/dev/full", 1, full},
      {"(sleep 0.1; qmx-console roof download -; echo $? >&2) | :", 0, "!…cannot be written…\n1"},
      {"echo 'areg --help\nhelp LCFG\ntrace on\nhelp\nlcfg\ntrace off\nlcfg\nquit\nset' | "
       "qmx-console roof",
       0,
       "Read registers: areg REGISTER...\nUsage: areg [OPTIONS] REGISTER...\n…\n"
       "Instrument type number\n…\nquit       Leave the prompt\ninstrument type 2\n"
       "instrument type 2\n!TIME > <STX>4LCFG K0<ETX>\nTIME < <STX>4LCFG 0 2<ETX><CR><LF>"},
      {"qmx-console /dev/null lcfg", 2, "!/dev/null is no serial device."},
      {"qmx-console / lcfg", 2, "!/ cannot be opened: Is a directory."},
      {"lcfg <$DEVICE", 2, "!" + device_ + " is the terminal of this console."},
  };
  Hold(device_, rows);
  if (!IsPrivate()) return;
  const std::string none =
      "/dev/none cannot be opened: No such file or directory. Serial devices here: ";
  const std::string ask = "qmx-console /dev/none lcfg; ";
  const std::string plug =
      "cd /dev; mkdir -p serial/by-id; touch tty{USB0,USB1,ACM0} serial/by-id/a; ";
  Hold(device_, {{"unshare -m bash -c 'mount -t tmpfs tmpfs /dev; " + ask + plug + ask + "'", 2,
                  "!" + none + "none plugged in; built-in ones are /dev/ttyS0 and following.\n" +
                      none + "/dev/serial/by-id/a /dev/ttyUSB0 /dev/ttyUSB1 /dev/ttyACM0."}});
}

TEST(ConsoleLine, TellsWhoMayOpenADevice) {
  if (RunToEnd({"setpriv", "--reuid", "1", "true"}).status != 0) GTEST_SKIP() << "no other users";
  const Line line;
  const std::string as = "; setpriv --reuid 1 --regid 1 --clear-groups qmx-console $DEVICE lcfg";
  const std::string cause = "!" + line.Device() + " cannot be opened: Permission denied. ";
  const std::string owned = cause + "It belongs to root and group ";
  const std::string none = ", which is no group to join for it: give it a group by a udev rule.";
  const std::string join = ". Join the group: sudo adduser daemon ";
  Hold(line.Device(), {{"chown 0:5 $DEVICE; chmod 660 $DEVICE" + as, 2,
                        owned + "tty" + join + "tty, then log in again."},
                       {"chmod 640 $DEVICE" + as, 2, owned + "tty" + none},
                       {"chown 0:0 $DEVICE; chmod 660 $DEVICE" + as, 2, owned + "root" + none},
                       {"chown 0:54321 $DEVICE" + as, 2,
                        owned + "group 54321" + join + "group 54321, then log in again."}});
}

}  // namespace
