#include <signal.h>
#include <termios.h>

#include "fixture.h"

namespace {

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

}  // namespace
