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
  hears(logger, "<STX>DA001<ETX>36",
        "TIME > GNP request  DA to instrument 001. Its check value is 36, it should be 35." +
            indent + "<STX>DA001<ETX>36\n");
  hears(gateway, "<STX>MD01 001 +1234-02 04 00 001 012    <ETX>3E<CR><LF>",
        "TIME < GNP reply    register 012 12.34" + indent +
            "<STX>MD01 001 +1234-02 04 00 001 012    <ETX>3E<CR><LF>\n");
  hears(gateway, "<STX>4ASTO 0 1<ETX><CR><LF>2020-01-01,5<CR><LF>",
        "TIME < AK reply     ASTO 1 from station 4" + indent + "<STX>4ASTO 0 1<ETX><CR><LF>\n" +
            "TIME < AK line      2020-01-01,5\n");
  console.Signal(SIGINT);
  EXPECT_EQ(console.Wait(), 0);
  EXPECT_EQ(
      console.Errors(),
      "Requests: 3, replies: 3, requests without a reply: 1, bytes that belong to no frame: 2.\n");
  const std::string recorded = Timeless(ReadFile(file));
  EXPECT_EQ(recorded.substr(recorded.find('\n') + 1),
            "TIME > <STX>5AREG K0 12<ETX>\nTIME < ?<x00>\nTIME > <STX>4AREG K0 12<ETX>\n"
            "TIME < <STX>4AREG 3 SE<ETX><CR><LF>\nTIME > <STX>DA001<ETX>36\n"
            "TIME < <STX>MD01 001 +1234-02 04 00 001 012    <ETX>3E<CR><LF>\n"
            "TIME < <STX>4ASTO 0 1<ETX><CR><LF>\nTIME < 2020-01-01,5<CR><LF>\n");
}

TEST(ConsoleListen, HearsWithOneAdapter) {
  const Line line;
  Child console({Program("qmx-console"), line.Device(), "--json", "listen", "--for", "1"});
  ASSERT_TRUE(WaitFor([&] { return line.Served(); }));
  line.Send(Bytes("<STX>4LCFG K0<ETX>"));
  EXPECT_EQ(console.Wait(), 0);
  EXPECT_EQ(Timeless(console.Output()),
            "{\"time\":\"TIME\",\"direction\":\">\",\"kind\":\"AK request\",\"station\":\"4\","
            "\"code\":\"LCFG\",\"channel\":\"K0\",\"bytes\":\"\\u00024LCFG K0\\u0003\"}\n");
  EXPECT_EQ(console.Errors(), "Requests: 1, replies: 0, bytes that belong to no frame: 0.\n");
}

}  // namespace
