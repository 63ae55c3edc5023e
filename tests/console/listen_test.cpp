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
    expected += words;
    EXPECT_TRUE(WaitFor([&] { return Timeless(console.Output()) == expected; }))
        << Timeless(console.Output()) << "\ninstead of\n"
        << expected;
  };
  const std::string indent = "\n               ";
  const auto asks = [&](const std::string& station) {
    const std::string bytes = "<STX>" + station + "AREG K0 12<ETX>";
    hears(logger, bytes,
          "TIME > AK request   AREG 12 to station " + station + ", channel K0" + indent + bytes +
              "\n");
  };
  asks("5");
  hears(gateway, "?<x00>", "TIME < bytes        2 that belong to no frame" + indent + "?<x00>\n");
  asks("4");
  hears(gateway, "<STX>4AREG 3 SE<ETX><CR><LF>",
        "TIME < no reply     to the request of TIME\n"
        "TIME < AK reply     AREG refused by station 4, status condition 3" +
            indent + "<STX>4AREG 3 SE<ETX><CR><LF>\n");
  hears(gateway, "<STX>4ASTO 0 1<ETX><CR><LF>2020-01-01,5<CR><LF>",
        "TIME < AK reply     ASTO 1 from station 4" + indent + "<STX>4ASTO 0 1<ETX><CR><LF>\n" +
            "TIME < AK line      2020-01-01,5\n");
  console.Signal(SIGINT);
  EXPECT_EQ(console.Wait(), 0);
  EXPECT_EQ(
      console.Errors(),
      "Requests: 2, replies: 2, requests without a reply: 1, bytes that belong to no frame: 2.\n");
  const std::string recorded = Timeless(ReadFile(file));
  EXPECT_EQ(recorded.substr(recorded.find('\n') + 1),
            "TIME > <STX>5AREG K0 12<ETX>\nTIME < ?<x00>\nTIME > <STX>4AREG K0 12<ETX>\n"
            "TIME < <STX>4AREG 3 SE<ETX><CR><LF>\n"
            "TIME < <STX>4ASTO 0 1<ETX><CR><LF>\nTIME < 2020-01-01,5<CR><LF>\n");
}

}  // namespace
