#include <chrono>
#include <csignal>
#include <thread>

#include "fixture.h"

namespace {

/// Written as it passes, also behind what an earlier one has left; nobody else gets the port.
TEST(ConsoleLine, RecordsWhatPasses) {
  const std::string file = LabPath("recording.txt");
  const std::string console = Program("qmx-console");
  for (const std::string earlier : {"", "# qmx-console recording 1, then\n2026"}) {
    const Line line;
    WriteFile(file, earlier);
    Child user({console, "--record", file, "--timeout", "300", line.Device(), "areg", "7"});
    EXPECT_EQ(line.ReceiveUntil("\x03"), Request("4AREG K0 7"));
    const Ended refused = RunToEnd({console, line.Device(), "lcfg"});
    EXPECT_EQ(refused.status, 2);
    EXPECT_EQ(refused.errors, line.Device() + " is in use by qmx-console (process " +
                                  std::to_string(user.Id()) + ").\n");
    line.Send(Bytes("~<LF><STX>4AREG 0 7 <x3C><x80>"));
    // In lines that end with a pause, too.
    EXPECT_TRUE(WaitFor([&] { return ReadFile(file).find("<x80>") != std::string::npos; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    line.Send("\x03\r\n");
    EXPECT_EQ(user.Wait(), 0);
    EXPECT_EQ(line.ReceiveUntil("\x03", 200), "");
    EXPECT_EQ(Timeless(ReadFile(file)),
              earlier + (earlier.empty() ? "" : "\n") + "# qmx-console recording 1, START, " +
                  line.Device() + "\nTIME > <STX>4AREG K0 7<ETX>\nTIME < ~<LF>\n" +
                  "TIME < <STX>4AREG 0 7 <x3C><x80>\nTIME < <ETX><CR><LF>\n");
  }
}

TEST(ConsoleListen, TellsBothSidesApart) {
  const Line logger;
  const Line gateway;
  const std::string file = LabPath("heard.txt");
  Child console(
      {Program("qmx-console"), gateway.Device(), "--record", file, "listen", logger.Device()});
  ASSERT_TRUE(WaitFor([&] { return logger.Served() && gateway.Served(); }));
  std::string expected;
  const auto hears = [&](const Line& line, const std::string& bytes, const std::string& words) {
    line.Send(Bytes(bytes));
    expected += "TIME " + words + "\n               " + bytes + "\n";
    EXPECT_TRUE(WaitFor([&] { return Timeless(console.Output()) == expected; }))
        << Timeless(console.Output()) << "\ninstead of\n"
        << expected;
  };
  hears(logger, "<STX>4ASTO K0 1<ETX>", "> AK request   ASTO 1 to station 4, channel K0");
  hears(gateway, "<STX>4ASTO 3 SE<ETX><CR><LF>",
        "< AK reply     ASTO refused by station 4, status condition 3");
  console.Signal(SIGINT);
  EXPECT_EQ(console.Wait(), 0);
  EXPECT_EQ(
      console.Errors(),
      "Requests: 1, replies: 1, requests without a reply: 0, bytes that belong to no frame: 0.\n");
  EXPECT_TRUE(Fits(Timeless(ReadFile(file)),
                   "…\nTIME > <STX>4ASTO K0 1<ETX>\n"
                   "TIME < <STX>4ASTO 3 SE<ETX><CR><LF>\n"));
}

}  // namespace
