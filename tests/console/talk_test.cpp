// What is typed at the prompt, on a line that the test plays. In talk.txt stand what is typed,
// behind "qmx> ", and all that comes of it: what is sent, behind "> ", with what comes back, behind
// " < ", and what is told.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <deque>
#include <fstream>
#include <iostream>
#include <regex>
#include <sstream>
#include <thread>

#include "line/interrupt.h"
#include "line/visible.h"
#include "prompt.h"

namespace {

/// Answers each request with the next reply: the text of a frame, behind which each "|" begins a
/// line, or bytes behind "~"; "-" is a silence, "!" an interrupt, and "*" noise without end. Marks
/// are refused, unless "?" is next.
class PlayedLine : public Line {
 public:
  std::deque<std::string> replies;

 protected:
  bool Open() override { return false; }
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
    if (reply == "!") std::raise(SIGINT);
    noise_ = reply == "*";
    if (reply.size() < 2) return;
    if (reply[0] != '~') {
      reply.insert(std::min(reply.find('|'), reply.size()), "<ETX>");
      reply = "~<STX>" + reply + "|";
    }
    const std::pair<const char*, const char*> kNames[] = {
        {"<STX>", "\x02"}, {"<ETX>", "\x03"}, {"[|]", "\r\n"}};
    for (const auto& [name, byte] : kNames) {
      reply = std::regex_replace(reply, std::regex(name), byte);
    }
    bytes_ = reply.substr(1);
  }
  bool Read(char& byte, std::chrono::milliseconds) override {
    Interrupt::Check();
    if (noise_ && ++noises_ < 100) bytes_ = "x";
    if (bytes_.empty()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    if (noise_) bytes_ = "x";
    if (bytes_.empty()) return false;
    byte = bytes_[0];
    bytes_.erase(0, 1);
    return true;
  }

 private:
  std::string bytes_;
  bool noise_ = false;
  int noises_ = 0;
};

/// All that is sent and told when this is typed, and the status unless all was well.
std::string Talked(const std::string& typed, const std::deque<std::string>& replies) {
  CLI::App app;
  Options options;
  AddLineOptions(app, options);
  PlayedLine line;
  line.replies = replies;
  Logger logger(line, options.GetAddress(), options.Patience());
  RegisterNumbers numbers(logger);
  Report report(false);
  Session session{line, logger, numbers, report, false, "line"};
  std::istringstream in(std::regex_replace(typed, std::regex("; "), "\n"));
  std::ostringstream out;
  const auto input = std::cin.rdbuf(in.rdbuf());
  const auto output = std::cout.rdbuf(out.rdbuf());
  const auto errors = std::cerr.rdbuf(out.rdbuf());
  const int status = Prompt(session, app, options);
  std::cin.rdbuf(input);
  std::cin.clear();
  std::cout.rdbuf(output);
  std::cerr.rdbuf(errors);
  return out.str() + "= " + std::to_string(status) + "\n";
}

TEST(Talk, GoesAsItStands) {
  ASSERT_NE(std::freopen("/dev/null", "r", stdin), nullptr);  // Nobody types.
  std::signal(SIGINT, SIG_DFL);
  std::ifstream file(TALK);
  std::string line, typed, wanted;
  std::deque<std::string> replies;
  const std::regex exchange("> [^:]* < (.*?) : ");
  while (std::getline(file, line)) {
    for (std::sregex_iterator one(line.begin(), line.end(), exchange), end; one != end; ++one) {
      replies.push_back(one->str(1));
    }
    (line[0] == 'q' ? typed : wanted) += line + "\n";
    if (line[0] != '=') continue;
    EXPECT_EQ(Talked(typed.substr(5), replies), wanted) << typed;
    for (std::string* text : {&typed, &wanted}) text->clear();
    replies.clear();
  }
  EXPECT_TRUE(typed.empty());
}

}  // namespace
