// What commands tell of a gateway that the test plays. The clocks go only while the line is waited
// for, a byte takes a millisecond, and nobody waits.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <csignal>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <regex>
#include <sstream>

#include "bytes.h"
#include "line/failure.h"
#include "line/interrupt.h"
#include "line/visible.h"
#include "logger/md_frame.h"
#include "played_line.h"
#include "views/check.h"
#include "views/findings.h"
#include "views/listen.h"
#include "views/outcome.h"
#include "views/session.h"
#include "views/watch.h"
#include "views/watch_file.h"

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kBegin(1577836800000);  // 2020-01-01 00:00:00, where time zones are UTC

void Begin() {
  setenv("TZ", "UTC", 1);
  tzset();
  PlayedClock::now = kBegin;
}

/// Answers a request by its text or what it begins with, whichever is the longest. Answers are, one
/// after the other, parted by "/" (the last one stays): the text of a reply and, behind "|", a line
/// that follows it; nothing; an echo, "="; bytes, "<STX>..."; or a failure of this status, "!2".
/// Among all that comes "^" is an interrupt, "#" a terminal that becomes smaller.
class Gateway : public PlayedLine {
 public:
  explicit Gateway(std::map<std::string, std::string> changed)
      : PlayedLine(kBegin, milliseconds(1)), answers_(std::move(changed)) {
    Begin();
    answers_.insert({
        {"4", "4???? 0 SE"},
        {"4LCFG K0", "4LCFG 0 2"},
        {"4LPRC K0", "4LPRC 0 3|qmxInstrumentType.0,qmxDatabasePointer.0,<b>.0"},
        {"4AREG K0 1", "4AREG 0 1 Twinex"},
        {"4AREG K0 2", "4AREG 0 2 2019-12-31 22:49:00"},
        {"4AREG K0 3", "4AREG 0 3 \x7F&"},
        {"4EREG K0 2", "4EREG 0 2"},
        {"4LDHD K0", "4LDHD 0 Date,Time,mass"},
        {"4SSTO K0", "4SSTO 0"},
        {"4ASTO K0", "4ASTO 0 0"},
        {"newest", "2019-12-31 00:00:02"},
        {"delay", "2"},  // in milliseconds, before a reply
    });
  }

  std::string asked;  ///< the texts of all requests but the marks

 protected:
  void Write(const std::string& bytes) override {
    for (std::size_t at = 0; (at = bytes.find('\x02', at)) != std::string::npos; ++at) {
      const std::string text = bytes.substr(at + 1, bytes.find('\x03', at) - at - 1);
      const auto delay = milliseconds(std::stoi(answers_["delay"]) + number_ * number_ % 7);
      ++number_;
      Comes(text.compare(1, 2, "SF") == 0 ? '\x02' + text.substr(0, 5) + " 0 SE\x03\r\n"
                                          : Answer(text),
            PlayedClock::now + delay);
    }
  }
  bool Read(char& byte, milliseconds wait) override {
    if (!PlayedLine::Read(byte, wait)) return false;
    const winsize small{6, 38, 0, 0};
    if (byte == '#') ioctl(1, TIOCSWINSZ, &small);
    if (byte == '^') raise(SIGINT);
    return byte != '^' && byte != '#';
  }

 private:
  std::string Answer(const std::string& text) {
    asked += text + ";";
    std::string key;
    for (const auto& [request, its] : answers_) {
      if (text.compare(0, request.size(), request) == 0) key = request;
    }
    const std::string all = answers_[key];
    const std::string answer = all.substr(0, all.find('/'));
    if (all.find('/') < all.size()) answers_[key] = all.substr(all.find('/') + 1);
    const std::string moved = text.compare(0, 11, "4EREG K0 2 ") == 0 ? text.substr(11)
                              : text == "4SSTO K0 E"                  ? answers_["newest"]
                                                                      : "";
    if (!moved.empty()) answers_["4AREG K0 2"] = "4AREG 0 2 " + moved;
    if (answer[0] == '!') throw Failure(std::stoi(answer.substr(1)), "The line is gone.");
    if (answer == "=") return '\x02' + text + '\x03';
    if (answer.empty() || answer[0] == '<' || answer == "^" || answer == "#") return Bytes(answer);
    const std::size_t end = answer.find('|');
    const std::string frame = '\x02' + Bytes(answer.substr(0, end)) + '\x03';
    return frame + (text[0] == 'D' ? CheckValueOf(frame) : "") + "\r\n" +
           (end < answer.size() ? Bytes(answer.substr(end + 1)) + "\r\n" : "");
  }

  std::map<std::string, std::string> answers_;
  int number_ = 0;  // of requests; each takes its own time
};

/// What a command tells, and how it ends, by its words and what the gateway answers otherwise.
std::string Told(const std::string& line, const std::map<std::string, std::string>& answers,
                 const std::vector<std::pair<int, std::string>>& coming) {
  std::map<std::string, std::string> words;
  WatchOptions watch;
  std::istringstream all(line);
  for (std::string word; all >> word;) {
    const std::size_t end = word.find('=');
    words[word.substr(0, end)] = end < word.size() ? word.substr(end + 1) : "";
    if (std::isdigit(static_cast<unsigned char>(word[0])) != 0) watch.registers.push_back(word);
  }
  const auto has = [&](const char* word) { return words.count(word) != 0; };
  const auto number = [&](const char* word) { return has(word) ? std::stoi(words[word]) : 0; };
  std::signal(SIGINT, SIG_DFL);  // It is ignored in what a script runs in the background.
  Gateway gateway(answers);
  for (const auto& [later, bytes] : coming) {
    gateway.Comes(Bytes(bytes), kBegin + milliseconds(later));
  }
  words.insert({{"station", "4"}, {"channel", "K0"}});
  const Address address{words["station"][0], words["channel"], words["id"]};
  Logger logger(gateway, address, milliseconds(5000));
  RegisterNumbers numbers(logger);
  Report report(has("json"));
  Session session{gateway, logger,     numbers,
                  report,  has("gnp"), has("gnp") ? "tcp://roof:1" : "PORT"};
  const Interrupt interrupt(Interrupt::Then::kAbort);
  const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
  const int output = dup(1);
  const int messages = dup(2);
  const winsize size{6, static_cast<unsigned short>(number("columns")), 0, 0};
  EXPECT_EQ(grantpt(terminal) + unlockpt(terminal) + ioctl(terminal, TIOCSWINSZ, &size), 0);
  const int shown = open(has("columns") ? ptsname(terminal) : "/dev/null", O_RDWR | O_NOCTTY);
  dup2(shown, 1);
  if (has("listen")) dup2(shown, 2);
  std::ostringstream told;
  auto* const out = std::cout.rdbuf(told.rdbuf());
  auto* const errors = std::cerr.rdbuf(told.rdbuf());
  try {
    if (has("known")) numbers.Learn();
    if (has("da")) report.Show(logger.Data(), numbers);
    if (has("areg")) {
      const Register asked = numbers.FindOne("1");
      report.ShowRegister(asked, logger.ReadRegister(asked.number));
    }
    if (has("check")) Check(session, {has("newest"), has("page") ? "-" : ""});
    watch.every = number("every");
    watch.count = number("count");
    if (has("watch")) Watch(session, watch);
    if (has("listen")) Listen(session, {"", static_cast<double>(number("for"))});
  } catch (const Failure& failure) {
    told << failure.status << " " << failure.what() << "\n";
  }
  std::cout.rdbuf(out);
  std::cerr.rdbuf(errors);
  dup2(output, 1);
  dup2(messages, 2);
  for (const int descriptor : {output, messages, shown, terminal}) close(descriptor);
  EXPECT_EQ(logger.GetAddress().station, address.station);
  EXPECT_EQ(logger.GetPatience(), milliseconds(5000));
  if (has("known")) told << gateway.asked << "\n";
  std::string text = told.str();
  const auto cut = [&text](const char* from, const std::string& to) {
    const std::size_t begin = text.find(from);
    const std::size_t end = text.rfind(to);
    if (begin < end && end < text.size()) text.erase(begin, end + to.size() - begin);
  };
  cut("<!DOCTYPE", "<body>\n");
  cut("<footer>", "</html>\n");
  if (!has("whole")) cut("<div class=\"scroll\"><table>\n<tr>", "</table></div>\n<p>");
  if (!has("whole") && !has("known")) cut("<h1>", "</thead>\n");
  text = std::regex_replace(text, std::regex("</tr>\n<tr>"), "</tr><tr>");
  return std::regex_replace(text, std::regex("\n {15}"), " | ");
}

/// Cases: "? WORDS; REQUEST=ANSWER; MILLISECONDS@BYTES; ...", and what is told. "." is a line of
/// the first case.
TEST(Views, TellWhateverComes) {
  std::ifstream file(VIEWS);
  ASSERT_TRUE(file.is_open()) << VIEWS;
  std::string wanted;
  std::string told;
  std::string usual;
  for (std::string line; std::getline(file, line);) {
    wanted += line + "\n";
    if (line.compare(0, 2, "? ") != 0) continue;
    told += line + "\n";
    std::istringstream parts(line.substr(2));
    std::string words;
    std::getline(parts, words, ';');
    std::map<std::string, std::string> answers;
    std::vector<std::pair<int, std::string>> coming;
    for (std::string part; std::getline(parts >> std::ws, part, ';');) {
      const std::size_t mark = part.find_first_of("=@");
      const std::string rest = part.substr(mark + 1);
      if (part[mark] == '=') answers[part.substr(0, mark)] = rest;
      if (part[mark] == '@') coming.emplace_back(std::stoi(part), rest);
    }
    std::istringstream lines(Told(words, answers, coming));
    const bool first = usual.empty();
    for (std::string its; std::getline(lines, its);) {
      if (first) usual += its + "\n";
      if (its.compare(0, 7, "4 There") == 0 && told.back() == '\n')
        told.replace(told.size() - 1, 1, "  ");
      const bool same = !first && usual.find(its + "\n") != std::string::npos;
      told += same ? "."
                   : std::regex_replace(std::regex_replace(its, std::regex("\x1b"), "<ESC>"),
                                        std::regex("\r"), "<CR>") +
                         "\n";
    }
    if (told.back() != '\n') told += "\n";
  }
  EXPECT_FALSE(usual.empty());
  EXPECT_EQ(told, wanted);
}

TEST(Views, AgeText) {
  Begin();
  std::string told;
  std::int64_t seconds = 0;
  for (const char* moment :
       {"2020-01-01 00:00:01", "2019-12-31 23:59:01", "2019-12-31 23:59:00", "2020-01-01 01:00:00",
        "2019-12-31 23:00:01", "2019-12-31 00:00:01", "2019-12-30 00:00:01", "2019-12-30 00:00:00",
        "2020-01-01 00:00:00.9", "2020-01-01 00:00:00x", "2020-01-01 00:00"}) {
    told += AgeText(moment, seconds) + ", ";
    told += std::to_string(seconds) + "; ";
  }
  EXPECT_EQ(told,
            "1 s ahead of this computer's clock, -1; 59 s ago, 59; 1 min ago, 60; 1 h 0 min ahead "
            "of this computer's clock, -3600; 59 min ago, 3599; 23 h 59 min ago, 86399; 1 day "
            "ago, 172799; 2 days ago, 172800; 0 s ago, 0; , 0; , 0; ");
}

TEST(Views, ProgressTellsWhatIsLeft) {
  const auto seconds = [](double number) {
    PlayedClock::now += milliseconds(static_cast<long>(number * 1000));
  };
  const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
  const int errors = dup(2);
  EXPECT_EQ(grantpt(terminal) + unlockpt(terminal), 0);
  EXPECT_EQ(dup2(open(ptsname(terminal), O_RDWR | O_NOCTTY), 2), 2);
  const std::string day = "2020-01-01 00:";
  for (const double late : {13.3, 13.34, 799.9, 800.0}) {
    Progress progress;
    progress.Brought({});
    progress.Begins(day + "10:00");
    progress.Brought({{day + "00:00", "a", ""}});
    seconds(late);
    progress.Brought({{day + "00:30", "b", ""}, {day + "01:00", "c", ""}});
    if (late == 13.3) progress.Brought({{day + "11:00", "d", ""}});
    if (late == 13.34) progress.Proves();
  }
  Progress().Proves();
  Progress progress;
  progress.Brought({{day + "00:00", "a", ""}});
  progress.Proves();
  std::fputs("~", stderr);
  dup2(errors, 2);
  std::string told;
  for (char byte = 0; byte != '~' && read(terminal, &byte, 1) == 1;) {
    told += Visible(std::string(1, byte));
  }
  told = std::regex_replace(told, std::regex("<CR><x1B>.K|, up to 2020-01-01"), "~");
  EXPECT_EQ(told,
            "~1 record~ 00:00:00~3 records~ 00:01:00, 10 %, 119 s left~4 records~ 00:11:00, 100 %, "
            "0 s left<CR><LF>~1 record~ 00:00:00~3 records~ 00:01:00, 10 %, 2 min left~3 records, "
            "9 bytes, 0.2 records/s~ 00:01:00<CR><LF>~1 record~ 00:00:00~3 records~ 00:01:00, "
            "10 %, 119 min left<CR><LF>~1 record~ 00:00:00~3 records~ 00:01:00, 10 %, 2 h left"
            "<CR><LF>~nothing new<CR><LF>~1 record~ 00:00:00~1 record, 3 bytes, 1000.0 records/s~ "
            "00:00:00<CR><LF>~");
  close(errors);
  close(terminal);
}

/// What a file holds after a watch, or why it is left alone.
TEST(Views, WatchFileGoesOnWithItsOwn) {
  const std::string path = testing::TempDir() + "watch." + std::to_string(getpid());
  std::vector<Course> courses(1, Course({7, "a,\x1b", "7"}));
  courses.emplace_back(Register{8, "", "8"});
  courses[0].Add("\x1b");
  const auto added = [&](const std::string& file) {
    try {
      WatchFile(file, courses).Add("now", courses);
    } catch (const Failure& failure) {
      return std::to_string(failure.status) + failure.what();
    }
    std::ifstream written(path);
    return std::string(std::istreambuf_iterator<char>(written), {});
  };
  std::string told;
  const std::string header = "time,\"7 a,<x1B>\",8\n";
  for (const std::string& earlier :
       {std::string(), header + "cut", header + "then,,\n", std::string("tim"), std::string("tin"),
        std::string("time,7\n")}) {
    std::ofstream(path) << earlier;
    told += added(path) + "|";
  }
  std::filesystem::remove(path);
  for (const char* file : {path.c_str(), "/", "/dev/null", "/proc/none"}) told += added(file) + "|";
  std::filesystem::remove(path);
  const std::string now = "now,<x1B>,\n|";
  const std::string other =
      "1FILE is no file of this watch; its first line would be: " + header.substr(0, 18) + "|";
  EXPECT_EQ(std::regex_replace(told, std::regex(path), "FILE"),
            header + now + header + now + header + "then,,\n" + now + header + now + other + other +
                header + now +
                "1/ is no file that can be continued.|1/dev/null is no file that can be "
                "continued.|1/proc/none cannot be written.|");
}

}  // namespace
