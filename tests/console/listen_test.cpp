#include "fixture.h"

namespace {

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
  hears(logger, "<STX>5AREG K0 12<ETX>", "> AK request   AREG 12 to station 5, channel K0");
  hears(gateway, "?<x00>", "< bytes        2 that belong to no frame");
  hears(logger, "<STX>4ASTO K0 1<ETX>", "> AK request   ASTO 1 to station 4, channel K0");
  hears(gateway, "<STX>4ASTO 3 SE<ETX><CR><LF>",
        "< no reply     to the request of TIME\n"
        "TIME < AK reply     ASTO refused by station 4, status condition 3");
  console.Signal(SIGINT);
  EXPECT_EQ(console.Wait(), 0);
  EXPECT_EQ(
      console.Errors(),
      "Requests: 2, replies: 1, requests without a reply: 1, bytes that belong to no frame: 2.\n");
  const std::string recorded = Timeless(ReadFile(file));
  EXPECT_EQ(recorded.substr(recorded.find('\n') + 1),
            "TIME > <STX>5AREG K0 12<ETX>\nTIME < ?<x00>\nTIME > <STX>4ASTO K0 1<ETX>\n"
            "TIME < <STX>4ASTO 3 SE<ETX><CR><LF>\n");
}

}  // namespace
