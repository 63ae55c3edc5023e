// What is typed at the prompt, on a line that the test plays. In talk.txt stand, behind "qmx", how
// it ends and what is typed, and all that comes of it: what is sent, behind "> ", with what comes
// back, behind " < ", and what is told.
#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <deque>
#include <fstream>
#include <iostream>
#include <regex>
#include <sstream>

#include "bytes.h"
#include "command_line.h"
#include "line/interrupt.h"
#include "line/visible.h"
#include "played_line.h"

namespace {

/// Answers each request with the next reply: the text of a frame, behind which each "|" begins a
/// line, or bytes behind "~"; "-" is a silence, and "!" an interrupt, which may come before a
/// reply. Marks are refused, unless "?" is next.
class TalkingLine : public PlayedLine {
 public:
  TalkingLine() : PlayedLine({}, std::chrono::milliseconds(1)) {}
  std::deque<std::string> replies;

 protected:
  void Write(const std::string& bytes) override {
    static const std::regex kMark("<STX>(.SF[a-zA-Z].) ..<ETX>");
    const std::string request = Visible(bytes);
    std::smatch mark;
    std::string reply = replies.empty() ? "-" : replies.front();
    if (std::regex_match(request, mark, kMark) && reply != "?") {
      reply = mark.str(1) + " 0 SE";
    } else {
      std::cout << "> " << (mark.empty() ? request : "mark") << " < " << reply << " : ";
      if (!replies.empty()) replies.pop_front();
    }
    if (reply[0] == '!') {
      std::raise(SIGINT);
      reply.erase(0, 1);
    }
    if (reply.size() < 2) return;
    if (reply[0] != '~') {
      reply.insert(std::min(reply.find('|'), reply.size()), "<ETX>");
      reply = "~<STX>" + reply + "|";
    }
    Comes(Bytes(std::regex_replace(reply.substr(1), std::regex("[|]"), "\r\n")), PlayedClock::now);
  }
  bool Read(char& byte, std::chrono::milliseconds wait) override {
    Interrupt::Check();
    return PlayedLine::Read(byte, wait);
  }
};

/// What the file says of what is typed there.
std::string Talked(const std::string& typed, const std::deque<std::string>& replies) {
  const auto open = [&](const std::string&, const std::shared_ptr<Transcript>&) {
    auto line = std::make_unique<TalkingLine>();
    line->replies = replies;
    return line;
  };
  // Whatever the configuration of this machine says.
  const std::array words{"qmx-console",   "--station=4",  "--channel=K0",
                         "--protocol=ak", "--timeout=10", "/dev/line"};
  std::istringstream in(std::regex_replace(typed, std::regex("; "), "\n"));
  std::ostringstream out;
  const auto input = std::cin.rdbuf(in.rdbuf());
  const auto output = std::cout.rdbuf(out.rdbuf());
  const auto errors = std::cerr.rdbuf(out.rdbuf());
  const int status = RunCommandLine(static_cast<int>(words.size()), words.data(), open);
  std::cin.rdbuf(input);
  std::cin.clear();
  std::cout.rdbuf(output);
  std::cerr.rdbuf(errors);
  if (out.str().back() != '\n') out << "\n";
  return "qmx " + std::to_string(status) + "> " + typed + "\n" + out.str();
}

TEST(Talk, GoesAsItStands) {
  ASSERT_NE(std::freopen("/dev/null", "r", stdin), nullptr);  // Nobody types.
  std::signal(SIGINT, SIG_DFL);
  std::ifstream file(TALK);
  std::string line, typed, wanted;
  std::deque<std::string> replies;
  const std::regex exchange("> .*? < (.*?) : ");
  for (bool more = true; more; wanted += line + "\n") {
    more = static_cast<bool>(std::getline(file, line));
    const bool begins = line.compare(0, 4, "qmx ") == 0;
    if ((begins || !more) && !wanted.empty()) {
      EXPECT_EQ(Talked(typed, replies), wanted);
      wanted.clear();
      replies.clear();
    }
    if (begins) typed = line.substr(line.find("> ") + 2);
    for (std::sregex_iterator one(line.begin(), line.end(), exchange), end; one != end; ++one) {
      if (!begins) replies.push_back(one->str(1));
    }
  }
  EXPECT_FALSE(typed.empty());
}

}  // namespace
