// What an exchange cannot tell of the shipped daemon: amounts, time, signals, abuse.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <thread>

#include "lab.h"
#include "responder.h"

namespace {

/// Processor time that a process has used so far, in milliseconds.
long Used(pid_t process) {
  clockid_t clock = 0;
  timespec used{};
  clock_getcpuclockid(process, &clock);
  clock_gettime(clock, &used);
  return used.tv_sec * 1000 + used.tv_nsec / 1000000;
}

class System : public testing::Test {
 protected:
  void SetUp() override {
    signal(SIGHUP, SIG_IGN);  // as under nohup
    PutInstrument();
    StartGateway();
  }

  void StartGateway() {
    gateway_ =
        std::make_unique<Child>(std::vector<std::string>{Program("qmx-gateway"), line_->Device()});
    ASSERT_TRUE(line_->Served());
  }

  /// The plain instrument of the exchanges.
  void PutInstrument() {
    std::ifstream steps(std::string(EXCHANGES) + "/_instrument.txt");
    for (std::string step; std::getline(steps, step);) agent_->Follow(step);
  }

  std::string Ask(const std::string& text, int milliseconds = kPatience) {
    line_->Send(Request(text));
    return line_->ReceiveUntil("\x03\r\n", milliseconds);
  }

  void FillTable(int records) {
    database_.Run(
        "CREATE TABLE LogEntry (time_stamp DATETIME, INDEX (time_stamp)) SELECT '2020-01-01' + "
        "INTERVAL seq SECOND time_stamp, seq a, seq / 7e0 b, CONCAT('record ', seq) c FROM "
        "seq_1_to_" +
        std::to_string(records));
  }

  bool Says(const std::string& text) {
    return WaitFor([&] { return gateway_->Errors().find(text) != std::string::npos; });
  }

  Database database_;
  std::unique_ptr<Responder> agent_ = std::make_unique<Responder>();
  std::unique_ptr<Line> line_ = std::make_unique<Line>();
  std::unique_ptr<Child> gateway_;
};

TEST_F(System, SetsTheLine) {
  termios line{};
  ASSERT_EQ(tcgetattr(line_->Master(), &line), 0);
  EXPECT_EQ(line.c_cflag, 0x8FDU);
  EXPECT_EQ(line.c_iflag | line.c_oflag | line.c_lflag, 0U);
  EXPECT_EQ(line.c_cc[VMIN], 0);
  EXPECT_EQ(line.c_cc[VTIME], 1);

  // What came while nobody served is no request.
  gateway_->Signal(SIGKILL);
  gateway_->Wait();
  const int port = open(line_->Device().c_str(), O_RDWR | O_NOCTTY);
  line.c_oflag = OPOST;  // not yet served
  ASSERT_EQ(tcsetattr(port, TCSANOW, &line), 0);
  line_->Send(Request("4????"));
  StartGateway();
  EXPECT_EQ(Ask("4LCFG K0"), Reply("4LCFG 0 5"));
  close(port);
}

TEST_F(System, RestsBehindEachGNPRequest) {
  const std::string request = "\x02XX\x03\r";
  const std::string end = "Unknown command.\x03\r";
  agent_->Follow("register qmxRS232Mode.0 i 1");
  line_->Send(Request("4LCFG K0") + "\r");  // for a gateway that waits for an AK frame by now
  line_->Send(request);
  EXPECT_NE(line_->ReceiveUntil(end), "");
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < 20; ++i) line_->Send(request);
  for (int i = 0; i < 20; ++i) EXPECT_NE(line_->ReceiveUntil(end), "");
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(19 * 50));
}

TEST_F(System, SendsTenThousandRecordsToAReaderThatStops) {
  FillTable(10000);
  std::string expected;
  for (const std::string& row :
       database_.Run("SELECT CONCAT_WS(',', DATE(time_stamp), TIME(time_stamp), a, b, c) FROM "
                     "LogEntry ORDER BY time_stamp")) {
    expected += row + "\r\n";
  }
  EXPECT_EQ(Ask("4ASTO K0 20000"), Reply("4ASTO 0 10000"));
  // The reader takes a little, then nothing for a while, in which the daemon is told that things
  // have happened; then the rest.
  std::string records = line_->Receive(5000);
  for (const int signal : {SIGWINCH, SIGCHLD, SIGURG}) {
    gateway_->Signal(signal);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
  }
  records += line_->Receive(expected.size() - records.size());
  EXPECT_TRUE(records == expected) << records.size() << " bytes";
  EXPECT_TRUE(WaitFor(
      [this] { return agent_->Holds("qmxDatabasePointer.0", 's', "2020-01-01 02:46:40"); }));
  EXPECT_EQ(Ask("4ASTO K0 5"), Reply("4ASTO 0 0"));
}

TEST_F(System, OutlivesSignalsAndItsLine) {
  for (const int signal : {SIGWINCH, SIGCHLD, SIGSTOP, SIGCONT, SIGURG}) {
    gateway_->Signal(signal);
    if (signal != SIGSTOP) {
      EXPECT_EQ(Ask("4LCFG K0"), Reply("4LCFG 0 5")) << signal;
    }
  }
  line_.reset();
  const long before = Used(gateway_->Id());
  std::this_thread::sleep_for(std::chrono::seconds(2));
  EXPECT_LE(Used(gateway_->Id()) - before, 100);
  gateway_->Signal(SIGHUP);
  EXPECT_EQ(gateway_->Wait(), 128 + SIGHUP);
}

TEST_F(System, FollowsAnAgentThatComesBackWithOtherRegisters) {
  ASSERT_EQ(Ask("4AREG K0 2"), Reply("4AREG 0 2 1"));
  // Whether its last pass was counted or not, it waits for a frame by then.
  const std::size_t before = agent_->ModeReads();
  WaitFor([&] { return agent_->ModeReads() > before; }, 2000);
  agent_.reset();
  line_->Send(Request("4LCFG K0"));
  EXPECT_TRUE(Says("Unable to get station number."));
  EXPECT_TRUE(Says("Unable to get rs232 mode."));
  agent_ = std::make_unique<Responder>();
  PutInstrument();
  agent_->Follow("absent qmxInstrumentID.0");
  // The old numbers hold until the list is built anew.
  EXPECT_EQ(Ask("4AREG K0 2", 30000), Reply("4AREG 0 SE"));
  EXPECT_EQ(Ask("4LPRC K0"), Reply("4LPRC 0 133"));
  line_->ReceiveUntil("\r\n");
  EXPECT_EQ(Ask("4AREG K0 3"), Reply("4AREG 0 3 0"));
}

TEST_F(System, StandsAStorm) {
  FillTable(20);
  database_.Run("SET GLOBAL log_output = 'TABLE', GLOBAL general_log = 1");
  std::map<std::string, std::vector<std::string>> words;
  std::ifstream file(STORM);
  for (std::string line; std::getline(file, line);) {
    const std::size_t blank = line.find(' ');
    words[line.substr(0, blank)].push_back(Bytes(line.substr(blank + 1)));
  }

  const char* wanted = std::getenv("QMX_STORM");
  const long frames = wanted == nullptr ? 1000 : std::strtol(wanted, nullptr, 10);
  std::mt19937 random(static_cast<unsigned>(frames));
  const auto pick = [&](const std::string& kind) {
    return words.at(kind)[random() % words.at(kind).size()];
  };
  std::size_t received = 0;
  for (long i = 0; i < frames && gateway_->Running(); ++i) {
    std::string frame = Request(pick("frame"));
    for (auto mutations = random() % 4; mutations > 0; --mutations) {
      const std::size_t at = random() % frame.size();
      const auto byte = static_cast<char>(random());
      const std::string replaced[] = {"", std::string(1, byte), std::string(random() % 300, byte),
                                      frame};
      frame.replace(at, random() % 2, replaced[random() % 4]);
      if (frame.empty()) frame = "\x02";
    }
    if (i % 5 == 0) {
      const std::string name = pick("register");
      agent_->Follow("register " + name + " " + pick("value"));
    }
    if (i % 50 == 0) {
      agent_->Follow("behave");
      PutInstrument();
      agent_->Follow(i % 200 == 0 ? "register qmxRS232Mode.0 i 1" : "register qmxRS232Mode.0 i 0");
    }
    if (i % 50 == 25) {
      const std::string kind = random() % 2 == 0 ? "get " : "set ";
      agent_->Follow("fault " + kind + pick("register") + " " + pick("fault"));
    }
    if (i % 20 == 0) WriteFile("/usr/share/snmp/orderNV.conf", pick("columns"));
    line_->Send(frame);
    received += line_->Receive(100000, 1).size();
  }
  // What is still on its way is served first; a frame that is still open is over after two more.
  while (!line_->Receive(100000, 1000).empty()) continue;
  agent_->Follow("behave");
  PutInstrument();
  bool answered = false;
  for (int i = 0; i < 5 && !answered; ++i) {
    answered = Ask("4LCFG K0", 500).find(Reply("4LCFG 0 5")) != std::string::npos;
  }
  EXPECT_TRUE(answered) << gateway_->Errors();
  EXPECT_GT(received, 1000U);

  // No byte but digits came to the shell: nothing of what it was to run was run, and no pointer out
  // of its apostrophes.
  EXPECT_NE(access("hit", F_OK), 0);
  EXPECT_EQ(gateway_->Output().find("uid="), std::string::npos);
  std::istringstream dates(ReadFile(LabPath("date.log")));
  for (std::string date; std::getline(dates, date);) {
    EXPECT_EQ(date.find_first_not_of("0123456789.", 5), std::string::npos) << date;
  }
  for (const std::string& statement :
       database_.Run("SELECT argument FROM mysql.general_log WHERE command_type = 'Query' AND "
                     "(argument LIKE 'SELECT time_stamp%' OR argument LIKE 'SELECT *%')")) {
    const auto apostrophes = std::count(statement.begin(), statement.end(), '\'');
    EXPECT_TRUE(apostrophes == 0 || apostrophes == 2) << statement;
    EXPECT_EQ(statement.find('\\'), std::string::npos) << statement;
  }
}

}  // namespace
