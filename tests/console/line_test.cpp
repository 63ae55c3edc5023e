#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <thread>

#include "fixture.h"

namespace {

/// A gateway with one record, of which one function goes wrong.
struct OneRecord {
  std::string pointer;
  std::string fault;

  std::string operator()(const std::string& code, const std::string& arguments) {
    const std::string done = "4" + code + " 0";
    const bool fails = code == fault;
    const std::string record = Reply(done + " 1") + kMoved.substr(0, 10) + ",00:00:00,1\r\n";
    if (code == "LPRC") return Reply(done + " 1") + (fails ? "a" : "qmxDatabasePointer") + ".0\r\n";
    if (code == "ASTO" && fails) return record + Reply(done + " SE");
    if (code.compare(0, 2, "SF") == 0 || fails) return Reply(done + " SE");
    if (code == "AREG") return Reply(done + " 1 " + pointer);
    if (code == "EREG") pointer = arguments.substr(2);
    if (code == "EREG") return Reply(done + " 1");
    if (code.substr(1) == "STO" && fault != "still" && fault != "empty") pointer = kMoved;
    if (code == "SSTO" && fault == "later") fault = "AREG";
    if (code == "ASTO") return fault == "empty" ? Reply(done + " 0") : record;
    return Reply(done + (code == "SSTO" ? "" : " 5"));
  }

  inline static const std::string kMoved = "2020-01-01 00:00:00";
};

const std::string kWhere = "2020-06-01 12:00:00";

TEST(ConsoleLine, PutsThePointerBackWhenInterrupted) {
  const std::string file = LabPath("held.csv");
  WriteFile(file, "Date,Time,mass\n2020-01-01,00:00:00,1\n");
  WriteFile(LabPath("commands"), "report " + file + "\n");
  WriteFile(LabPath("look"), "check --newest\n");
  for (const auto& words : {"report " + file, std::string("check --newest"),
                            "<" + LabPath("commands"), "<" + LabPath("look")}) {
    const Line line;
    Child console(
        {"sh", "-c", "exec " + Program("qmx-console") + " " + line.Device() + " " + words});
    OneRecord gateway{kWhere, ""};
    long steps = 0;
    Play(line, console, [&](const std::string& code, const std::string& arguments) {
      if (code == "SSTO" && ++steps == 1) console.Signal(SIGINT);
      return gateway(code, arguments);
    });
    EXPECT_EQ(console.Wait(), 128 + SIGINT) << words << console.Errors();
    EXPECT_TRUE(steps > 0 && gateway.pointer == kWhere) << words << gateway.pointer;
  }
}

TEST(ConsoleLine, TrustsNoPointerUnseen) {
  const std::string file = LabPath("held.csv");
  const std::string moved = OneRecord::kMoved;
  WriteFile(file, "Date,Time,mass\n2020-01-01,00:00:00,1\n");
  const std::string doubt = "The number of register qmxDatabasePointer.0 is not certain here, …\n";
  const std::string lost = "The database pointer could not be put back; it was ";
  const std::string away = lost + "at " + kWhere + ".\n";
  const struct {
    std::string before, fault, told, after;
  } cases[] = {
      {kWhere, "LPRC", doubt, kWhere},
      {kWhere, "AREG", doubt, kWhere},
      {kWhere, "later", away + doubt, moved},
      {kWhere, "EREG", away + "EREG refused: …\n", moved},
      {"", "EREG", lost + "empty.\nEREG refused: …\n", moved},
      {"", "", "… holds all 1 record of the …up to " + moved + ".\n", "0001-01-01 00:00:00"},
      {kWhere, "SSTO", "SSTO refused: …\n", kWhere},
      {kWhere, "ASTO", "The records came, but the database pointer could not be moved.\n", kWhere},
      {kWhere, "still", away + doubt, kWhere},
      {kWhere, "empty", "… all 0 records of …, and 1 that it no longer has.\n", kWhere},
      {"x", "empty", lost + "at x.\n" + doubt, "x"},
  };
  for (const auto& row : cases) {
    const Line line;
    Child console({Program("qmx-console"), line.Device(), "prove", file});
    OneRecord gateway{row.before, row.fault};
    Play(line, console, std::ref(gateway));
    console.Wait();
    const std::string told = console.Output() + console.Errors();
    EXPECT_TRUE(Fits(told, row.told) && gateway.pointer == row.after) << row.fault << ": " << told;
  }
}

TEST(ConsoleLine, RecordsWhatPasses) {
  const std::string file = LabPath("recording.txt");
  const auto record = [&](const std::string& earlier) {
    const Line line;
    WriteFile(file, earlier);
    Child console({Program("qmx-console"), "--record", file, line.Device(), "areg", "7"});
    EXPECT_FALSE(line.ReceiveUntil("\x03").empty());
    line.Send(Bytes("~<LF><STX>4AREG 0 7 <x3C><x80>"));
    // Written as it passes, in lines that end with a pause, too.
    EXPECT_TRUE(WaitFor([&] { return ReadFile(file).find("<x80>") != std::string::npos; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    line.Send("\x03\r\n");
    EXPECT_EQ(console.Wait(), 0);
    EXPECT_NE(ReadFile(file).find(", " + line.Device() + "\n"), std::string::npos);
    const std::string lines = Timeless(ReadFile(file));
    return std::regex_replace(lines, std::regex("/dev/pts/[0-9]+"), "DEVICE");
  };
  const std::string recorded =
      "# qmx-console recording 1, START, DEVICE\n"
      "TIME > <STX>4AREG K0 7<ETX>\nTIME < ~<LF>\n"
      "TIME < <STX>4AREG 0 7 <x3C><x80>\nTIME < <ETX><CR><LF>\n";
  EXPECT_EQ(record(""), recorded);
  const std::string cut = "# qmx-console recording 1, then\n2026";
  EXPECT_EQ(record(cut), cut + "\n" + recorded);
  WriteFile(file, "Date,Time\n");
  const Ended refused = RunToEnd({Program("qmx-console"), "--record", file, "/dev/null", "lcfg"});
  EXPECT_EQ(refused.errors, file + " is no recording: name another file.\n");
  EXPECT_EQ(ReadFile(file), "Date,Time\n");
  // A recording that takes no more ends alone.
  WriteFile(file, "# qmx-console recording 1, " + std::string(400, 'x') + "\n");
  const Line line;
  Child console({"sh", "-c",
                 "trap '' XFSZ; ulimit -f 1; exec " + Program("qmx-console") + " --record " + file +
                     " " + line.Device() + " areg 7"});
  EXPECT_EQ(ReceiveRequest(line), Request("4AREG K0 7"));
  line.Send(Reply("4AREG 0 7 x"));
  EXPECT_EQ(console.Wait(), 0);
  EXPECT_EQ(console.Output(), "7  x\n");
  EXPECT_EQ(console.Errors(),
            "The recording ends: " + file + " cannot be written: File too large.\n");
}

TEST(ConsoleLine, TellsWhatToDoAboutADevice) {
  const auto errors = [](const std::string& device) {
    const Ended ended = RunToEnd({Program("qmx-console"), device, "lcfg"});
    EXPECT_EQ(ended.status, 2);
    return ended.errors;
  };
  EXPECT_EQ(errors("/dev/null"), "/dev/null is no serial device.\n");
  EXPECT_EQ(errors("/"), "/ cannot be opened: Is a directory.\n");
  if (IsPrivate()) {
    const std::string none =
        "/dev/none cannot be opened: No such file or directory. Serial devices here: ";
    const std::string ask = "; " + Program("qmx-console") + " /dev/none lcfg; ";
    const std::string plug =
        "cd /dev; mkdir -p serial/by-id; touch tty{USB0,USB1,ACM0} serial/by-id/a";
    EXPECT_EQ(
        RunToEnd({"unshare", "-m", "bash", "-c", "mount -t tmpfs tmpfs /dev" + ask + plug + ask})
            .errors,
        none + "none plugged in; built-in ones are /dev/ttyS0 and following.\n" + none +
            "/dev/serial/by-id/a /dev/ttyUSB0 /dev/ttyUSB1 /dev/ttyACM0.\n");
  }
  if (RunToEnd({"setpriv", "--reuid", "1", "true"}).status != 0) GTEST_SKIP() << "no other users";
  const Line line;
  const std::string console = Program("qmx-console") + " " + line.Device() + " lcfg";
  EXPECT_EQ(RunToEnd({"sh", "-c", console + " <" + line.Device()}).errors,
            line.Device() + " is the terminal of this console.\n");
  const std::string cause = " cannot be opened: Permission denied. It belongs to root and group ";
  const auto denied = [&](gid_t group, mode_t mode, const std::string& told) {
    EXPECT_EQ(chown(line.Device().c_str(), 0, group) + chmod(line.Device().c_str(), mode), 0);
    const Ended ended = RunToEnd({"setpriv", "--reuid", "1", "--regid", "1", "--clear-groups",
                                  Program("qmx-console"), line.Device(), "lcfg"});
    EXPECT_EQ(ended.status, 2);
    EXPECT_EQ(ended.errors, line.Device() + cause + told);
  };
  const std::string none = ", which is no group to join for it: give it a group by a udev rule.\n";
  const std::string join = ". Join the group: sudo adduser daemon ";
  denied(5, 0660, "tty" + join + "tty, then log in again.\n");
  denied(5, 0640, "tty" + none);
  denied(0, 0660, "root" + none);
  denied(54321, 0660, "group 54321" + join + "group 54321, then log in again.\n");
}

TEST(ConsoleLine, FindsOutWhoHasThePort) {
  const Line line;
  Child user({Program("qmx-console"), line.Device(), "--trace", "--timeout", "300", "lcfg"});
  EXPECT_EQ(line.ReceiveUntil("\x03"), Request("4LCFG K0"));
  EXPECT_TRUE(WaitFor([&] { return Timeless(user.Errors()) == "TIME > <STX>4LCFG K0<ETX>\n"; }));
  const Ended refused = RunToEnd({Program("qmx-console"), line.Device(), "lcfg"});
  EXPECT_EQ(refused.status, 2);
  EXPECT_EQ(refused.errors, line.Device() + " is in use by qmx-console (process " +
                                std::to_string(user.Id()) + ").\n");
  // Nothing of the refused one came through, and the port is free again behind the other.
  line.Send(Reply("4LCFG 0 5"));
  EXPECT_EQ(user.Wait(), 0);
  EXPECT_EQ(line.ReceiveUntil("\x03", 200), "");
  EXPECT_FALSE(std::filesystem::exists("/run/lock/LCK.." +
                                       std::filesystem::path(line.Device()).filename().string()));
}

}  // namespace
