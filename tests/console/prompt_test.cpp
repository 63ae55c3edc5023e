#include <signal.h>
#include <termios.h>

#include "fixture.h"

namespace {

/// The console at its prompt, in a terminal of its own.
class Typed {
 public:
  explicit Typed(const std::string& device)
      : console({"sh", "-c",
                 "HOME=" + LabPath("") + " exec setsid --wait --ctty " + Program("qmx-console") +
                     " " + device + " <" + terminal.Device() + " >" + terminal.Device() +
                     " 2>&1"}) {
    Shows("\"help\" lists the commands, \"quit\" leaves.\r\nqmx> ");
  }

  /// The text is shown next, after these keys.
  void Shows(const std::string& text, const std::string& keys = "") {
    terminal.Send(keys);
    const std::string shown = terminal.ReceiveUntil(text);
    EXPECT_TRUE(Fits(shown, "…" + text)) << "no " << text << " in " << shown;
  }

  const Line terminal;
  Child console;
};

TEST_F(Console, TakesInterruptsAtItsPrompt) {
  Typed typed(device_);
  // A line that is being typed is forgotten.
  typed.Shows("29 7", "ereg 29 7");
  typed.Shows("qmx> ", "\x03");
  typed.Shows("29  300\r\n", "areg 29\r");
  // A watch ends with its key, and no other, which is not shown; or it is interrupted alone.
  typed.Shows("qmx> ");
  typed.Shows("q ends", "watch 29\r");
  typed.Shows("\nqmx> ", "xq");
  typed.Shows("q ends", "watch 29\r");
  typed.Shows("\nqmx> ", "\x03");
  // The end leaves the terminal as it was.
  typed.console.Signal(SIGTERM);
  EXPECT_EQ(typed.console.Wait(), 128 + SIGTERM);
  termios after{};
  ASSERT_EQ(tcgetattr(typed.terminal.Master(), &after), 0);
  EXPECT_NE(after.c_lflag & ICANON, 0U);
}

TEST_F(Console, CompletesWhatIsTyped) {
  ASSERT_EQ(Ask({"lcfg"}).status, 0);
  WriteFile(LabPath("begun.csv"), "");
  Typed typed(device_);
  typed.Shows("qmxKORVBState.0  2\r\n", "ar\tQMXKORVBst\t\r");
  // A value is no register.
  typed.Shows("qmxOperatorNote.0 is set", "ereg qmxOperatorN\tqmxOper\t\r");
  typed.Shows("qmxOperatorNote  qmxOper\r\n", "areg qmxOperatorNote\r");
  for (const char* words : {"listen ", "report -o ", "report --output ", "watch --csv ",
                            "check --report ", "download "}) {
    typed.Shows("un.csv ", "\x15" + (words + LabPath("beg")) + "\t");
  }
  typed.Shows("gin ", "--from be\t");
  typed.Shows("protocol  gnp", "\x15set pro\tg\t\rset\r");
  for (const auto& [keys, offered] :
       {std::pair("watch --", "--count  --csv    --every  --help  "),
        {"watch --every 2 --co", "unt "},
        {"ssto ", "B  E"},
        {"sf ", "03  06  09  17  25  26"},
        {"trace ", "off  on"},
        {"set json o", "off  on"},
        {"help s", "set   sf    ssto"},
        {"set ", "channel   id        json      protocol  station   timeout"}}) {
    typed.Shows(offered, "\x15" + std::string(keys) + "\t\t");
  }
  // What was typed is kept, but no empty line.
  typed.Shows("protocol  gnp", "\x15\r\x10\r");
  EXPECT_TRUE(WaitFor([&typed] {
    // While no line is read the terminal takes it for itself, and leaves a NUL.
    typed.terminal.Send("\x15\x04");
    return !typed.console.Running();
  }));
  EXPECT_EQ(typed.console.Wait(), 0);
  EXPECT_NE(ReadFile(LabPath(".qmx_console_history")).find("\nset\nset\n"), std::string::npos);
  // An interrupt ends the wait for names that do not come.
  const Line silent;
  Typed waiting(silent.Device());
  waiting.Shows("qmx> ", "set timeout 1000\r");
  // GNP has no names.
  waiting.Shows("qmx> ", "set protocol gnp\r");
  waiting.Shows("qmx> ", "areg q\t\x15set protocol ak\r");
  waiting.Shows("areg q", "areg q");
  waiting.terminal.Send("\t");
  EXPECT_EQ(silent.ReceiveUntil("\x03"), Request("4LPRC K0"));
  waiting.Shows("qmx> ", "\x03");
  // They are waited for again when something was set.
  waiting.Shows("qmx> ", "areg q\t\x15set timeout 999\r");
  waiting.terminal.Send("areg q\t");
  EXPECT_NE(silent.ReceiveUntil("\x03"), "");
}

TEST_F(Console, OpensAPortThatComesBack) {
  Typed typed(device_);
  typed.Shows("instrument type 2", "lcfg\r");
  cable_.Signal(SIGKILL);
  cable_.Wait();
  typed.Shows("The serial device is gone", "lcfg\r");
  unlink(device_.c_str());
  typed.Shows("cannot be opened: No such file", "lcfg\r");
  unlink(LabPath("port").c_str());
  const Child cable({"socat", "pty,rawer,link=" + device_, "pty,rawer,link=" + LabPath("port")});
  ASSERT_TRUE(WaitFor([] { return access(LabPath("port").c_str(), F_OK) == 0; }));
  std::remove(kRegisterList);
  const Child gateway({Program("qmx-gateway"), LabPath("port")});
  ASSERT_TRUE(WaitFor([] { return access(kRegisterList, F_OK) == 0; }));
  typed.Shows("instrument type 2", "lcfg\r");
  // The end of the terminal's session ends the console, a watch or not.
  typed.Shows("q ends", "watch 29\r");
  typed.console.Signal(SIGHUP);
  EXPECT_EQ(typed.console.Wait(), 128 + SIGHUP);
}

}  // namespace
