// Plays exchange files against the shipped daemon: a line, an agent and a database server, and for
// each step what must come back, byte for byte. tests/exchanges/README.md tells the steps.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <map>
#include <sstream>

#include "lab.h"
#include "responder.h"

namespace {

constexpr char kRegisterList[] = "/home/qmx/register.txt";

class Exchange : public testing::Test {
 public:
  explicit Exchange(std::string file) : file_(std::move(file)) {}
  void TestBody() override { Play(file_); }

 protected:
  void TearDown() override {
    NoFurtherMessage();
    if (gateway_) gateway_->Signal(SIGKILL);
  }

 private:
  void Play(const std::string& file) {
    std::ifstream steps(file);
    ASSERT_TRUE(steps) << "no file " << file;
    std::vector<std::string> rows;
    std::vector<std::pair<std::string, std::string>> block;  // where each step stands, and it
    std::string text;
    for (int number = 1; std::getline(steps, text); ++number) {
      if (text.find_first_not_of(' ') == std::string::npos || text[0] == '#') continue;
      const std::string place = file + ":" + std::to_string(number);
      if (text[0] != ' ') {
        PlayRows(rows, block);
        block.clear();
      }
      if (text.compare(0, 5, "each ") == 0) {
        for (const std::string& row : Split(text.substr(5))) rows.push_back(row);
      } else if (text[0] == ' ') {
        block.emplace_back(place, text.substr(text.find_first_not_of(' ')));
      } else {
        Follow(place, text);
      }
    }
    PlayRows(rows, block);
  }

  /// The steps of a block for each row, with the row in place of $* and its fields of $1, $2, ...
  void PlayRows(std::vector<std::string>& rows,
                const std::vector<std::pair<std::string, std::string>>& block) {
    if (block.empty()) return;
    EXPECT_FALSE(rows.empty()) << block[0].first << ": no rows for this block";
    for (const std::string& row : std::exchange(rows, {})) {
      for (auto [place, step] : block) {
        Replace(step, "$*", row);
        char name = '1';
        const char* between = row.find(" ; ") == std::string::npos ? " " : " ; ";
        for (const std::string& field : Split(row, between)) Replace(step, {'$', name++}, field);
        Follow(place, step);
      }
    }
  }
  static void Replace(std::string& step, const std::string& name, const std::string& by) {
    for (std::size_t at = 0; (at = step.find(name, at)) != std::string::npos; at += by.size()) {
      step.replace(at, name.size(), by);
    }
  }

  void Follow(const std::string& place, const std::string& step) {
    if (HasFailure() || IsSkipped()) return;
    SCOPED_TRACE(place + ": " + step);
    const std::size_t blank = step.find(' ');
    const std::string rest = blank == std::string::npos ? "" : Bytes(step.substr(blank + 1));
    const auto known = kSteps.find(step.substr(0, blank));
    if (known != kSteps.end()) {
      (this->*known->second)(rest);
    } else {
      EXPECT_TRUE(agent_.Follow(step.substr(0, blank) + " " + rest)) << "no such step";
    }
  }

  static std::vector<std::string> Split(const std::string& text,
                                        const std::string& between = " | ") {
    std::vector<std::string> parts;
    for (std::size_t begin = 0, end = 0; end != std::string::npos; begin = end + between.size()) {
      end = text.find(between, begin);
      parts.push_back(text.substr(begin, end - begin));
    }
    return parts;
  }

  using Step = void (Exchange::*)(const std::string& rest);
  static const std::map<std::string, Step> kSteps;

  // The surroundings; what concerns the agent is its own to follow

  /// The file stands beside the one that is played.
  void Use(const std::string& file) { Play(file_.substr(0, file_.rfind('/') + 1) + file); }
  void Sql(const std::string& statement) { Server().Run(statement); }
  void ServerStep(const std::string& what) {
    if (what == "on") {
      database_ ? database_->Start() : static_cast<void>(Server());
    } else {
      Server().Stop(what == "kill" ? SIGKILL : SIGTERM);
    }
  }
  void File(const std::string& rest) {
    const std::size_t blank = rest.find(' ');
    WriteFile(rest.substr(0, blank), blank == std::string::npos ? "" : rest.substr(blank + 1));
  }
  /// The steps behind this one need mounts of the laboratory's own.
  void Private(const std::string&) {
    if (!IsPrivate()) GTEST_SKIP() << "no mounts here";
  }
  void Shell(const std::string& command) {
    Child shell({"sh", "-c", command});
    ASSERT_EQ(shell.Wait(60000), 0) << shell.Errors();
  }

  // The daemon

  /// Starts it on a new line or on another device.
  void Start(const std::string& device) {
    line_ = std::make_unique<Line>();
    outputSeen_ = errorsSeen_ = 0;
    gateway_ = std::make_unique<Child>(std::vector<std::string>{
        Program("qmx-gateway"), device.empty() ? line_->Device() : device});
  }
  /// Starts it on a new line and waits until it serves.
  void Serve(const std::string&) {
    Server();
    gateway_.reset();
    const std::size_t before = agent_.ModeReads();
    Start("");
    ASSERT_TRUE(line_->Served());
    ASSERT_TRUE(WaitFor([&] { return agent_.ModeReads() > before; })) << gateway_->Errors();
    agent_.Requests();
  }
  /// Waits until the daemon, after its last reply or what was asked without one, waits for the next
  /// frame. It does already when the reads were counted late: then there is none to come.
  void Waiting(const std::string&) {
    WaitFor([this] { return agent_.ModeReads() > modeReadsBefore_; }, 2000);
  }
  /// The logger's end of the line is closed.
  void Hangup(const std::string&) { line_.reset(); }
  void Exit(const std::string& status) { EXPECT_EQ(gateway_->Wait(30000), std::stoi(status)); }

  // The line

  void Send(const std::string& rest) {
    NoFurtherMessage();
    agent_.Requests();
    line_->Send(rest);
  }
  void Receive(const std::string& expected) {
    EXPECT_EQ(Visible(line_->Receive(expected.size(), 30000)), Visible(expected));
    modeReadsBefore_ = agent_.ModeReads();
  }
  void PassBytes(const std::string& rest) {
    const std::size_t arrow = rest.find(" => ");
    Send(rest.substr(0, arrow));
    Receive(rest.substr(arrow + 4));
  }
  void Ask(const std::string& rest) {
    const std::size_t arrow = rest.find(" => ");
    Send(Request(rest.substr(0, arrow)));
    if (arrow == std::string::npos) {
      ++modeReadsBefore_;
    } else {
      Receive(Reply(rest.substr(arrow + 4)));
    }
  }

  // What it leaves behind

  void Requests(const std::string& expected) {
    std::string asked;
    WaitFor([&] {
      asked += agent_.Requests();
      return asked.size() > expected.size();
    });
    EXPECT_EQ(asked, expected + "; ");
  }
  void Holds(const std::string& rest) {
    const std::size_t blank = rest.find(' ');
    const std::string value = blank + 2 < rest.size() ? rest.substr(blank + 3) : "";
    EXPECT_TRUE(
        WaitFor([&] { return agent_.Holds(rest.substr(0, blank), rest[blank + 1], value); }));
  }
  void List(const std::string& rest) {
    std::istringstream words(rest);
    std::string number;
    std::string name;
    std::string lines;
    while (words >> number >> name) lines += number + ";" + name + ";\n";
    EXPECT_EQ(ReadFile(kRegisterList), lines);
  }
  void Message(const std::string& texts) {
    for (const std::string& text : Split(texts)) ExpectLine(text, errorsSeen_, &Child::Errors);
  }
  void Output(const std::string& text) { ExpectLine(text, outputSeen_, &Child::Output); }

  /// The next line that the daemon prints is this text; behind a blank or a colon a library may
  /// have added its own. The system's error texts behind a line end are passed over.
  void ExpectLine(const std::string& text, std::size_t& seen,
                  std::string (Child::*printed)() const) {
    std::string next;
    WaitFor([&] {
      next = NextLine((gateway_.get()->*printed)(), seen);
      return !next.empty();
    });
    const bool added = next.size() > text.size() && std::strchr(" :", next[text.size()]) != nullptr;
    EXPECT_EQ(added ? next.substr(0, text.size()) : next, text);
  }
  static std::string NextLine(const std::string& printed, std::size_t& seen) {
    for (std::size_t end; (end = printed.find('\n', seen)) != std::string::npos;) {
      std::string text = printed.substr(seen, end - seen);
      seen = end + 1;
      if (!text.empty() && text.compare(0, 2, ": ") != 0) return text;
    }
    return "";
  }
  void Unheard(const std::string&) { heard_ = false; }
  void NoFurtherMessage() {
    if (gateway_ && heard_) {
      EXPECT_EQ(NextLine(gateway_->Errors(), errorsSeen_), "");
      EXPECT_EQ(NextLine(gateway_->Output(), outputSeen_), "");
    }
  }

  Database& Server() {
    if (!database_) database_ = std::make_unique<Database>();
    return *database_;
  }

  std::string file_;
  Responder agent_;
  std::unique_ptr<Database> database_;
  std::unique_ptr<Line> line_;
  std::unique_ptr<Child> gateway_;
  bool heard_ = true;
  std::size_t modeReadsBefore_ = 0;
  std::size_t outputSeen_ = 0;
  std::size_t errorsSeen_ = 0;
};

const std::map<std::string, Exchange::Step> Exchange::kSteps = {
    {"use", &Exchange::Use},           {"sql", &Exchange::Sql},
    {"server", &Exchange::ServerStep}, {"file", &Exchange::File},
    {"private", &Exchange::Private},   {"shell", &Exchange::Shell},
    {"start", &Exchange::Start},       {"serve", &Exchange::Serve},
    {"exit", &Exchange::Exit},         {"hangup", &Exchange::Hangup},
    {"waiting", &Exchange::Waiting},   {"send", &Exchange::Send},
    {"receive", &Exchange::Receive},   {"ask", &Exchange::Ask},
    {"requests", &Exchange::Requests}, {"holds", &Exchange::Holds},
    {"list", &Exchange::List},         {"message", &Exchange::Message},
    {"output", &Exchange::Output},     {"unheard", &Exchange::Unheard},
    {"bytes", &Exchange::PassBytes},
};

}  // namespace

int main(int argc, char* argv[]) {
  testing::InitGoogleTest(&argc, argv);
  for (int i = 1; i < argc; ++i) {
    const std::string file = argv[i];
    testing::RegisterTest("Exchange", argv[i], nullptr, nullptr, __FILE__, __LINE__,
                          [file]() -> Exchange* { return new Exchange(file); });
  }
  return RUN_ALL_TESTS();
}
