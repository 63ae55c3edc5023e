// What is asked on a line, when, and what becomes of the replies; and frames in a stream of bytes.
// Time passes only in waiting.
#include "logger/logger.h"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "bytes.h"
#include "line/visible.h"
#include "logger/register_numbers.h"
#include "logger/search.h"
#include "played_line.h"

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kStart(1234567);
/// What stands for bytes, in what comes and in what is shown.
const std::map<char, std::string> kSigns = {
    {'[', "<STX>"}, {']', "<ETX>"}, {'$', "<CR><LF>"}, {'^', "<CR>"}, {'_', "<LF>"}};

std::string Short(const std::string& bytes) {
  std::string text = Visible(bytes);
  for (const char sign : {'[', ']', '$', '^', '_'}) {
    text = std::regex_replace(text, std::regex(kSigns.at(sign)), std::string(1, sign));
  }
  return text;
}

/// A text with the names of bytes in it; {3*[x]} is [x][x][x].
std::string Long(std::string text) {
  static const std::regex kRepeated("\\{(\\d+)[*]([^}]*)\\}");
  for (std::smatch found; std::regex_search(text, found, kRepeated);) {
    std::string all = found.prefix();
    for (int number = std::stoi(found[1]); number > 0; --number) all += found[2];
    text = all + found.suffix().str();
  }
  std::string named;
  for (const char sign : text) {
    const auto its = kSigns.find(sign);
    named += its != kSigns.end() ? its->second : std::string(1, sign);
  }
  return named;
}

/// The far end of a line. It tells what is sent, and when.
class Played : public PlayedLine {
 public:
  /// What comes behind a request, and unasked at first.
  using Answering = std::function<std::string(const std::string& request)>;
  explicit Played(Answering answer) : PlayedLine(kStart), answer_(std::move(answer)) {
    Come(answer_(""));
  }

  void Tell(const std::string& text) {
    if (!told_.empty()) told_ += " | ";
    if (PlayedClock::now != toldAt_)
      told_ += std::to_string((PlayedClock::now - kStart).count()) + " ";
    toldAt_ = PlayedClock::now;
    told_ += text;
  }
  const std::string& Told() const { return told_; }

 protected:
  bool Open() override { return std::exchange(closed_, false); }
  void Write(const std::string& bytes) override {
    Tell(Short(bytes));
    Come(answer_(bytes));
  }

 private:
  /// Bytes, and silences of milliseconds, as <20>, before some.
  void Come(const std::string& text) {
    static const std::regex kSilence("<(\\d+)>");
    const std::string all = Long(text);
    bool silent = false;
    for (std::sregex_token_iterator part(all.begin(), all.end(), kSilence, {-1, 1}), end;
         part != end; ++part, silent = !silent) {
      if (silent) {
        silence_ += milliseconds(std::stol(*part));
      } else if (part->length() > 0) {
        Comes(Bytes(*part), Last() + std::exchange(silence_, milliseconds(0)));
      }
    }
  }

  Answering answer_;
  milliseconds silence_{0};
  std::string told_;
  milliseconds toldAt_ = kStart;
  bool closed_ = true;
};

/// Each request is answered with the next of these texts, all further ones with the last; the first
/// comes unasked.
Played::Answering InTurn(const std::string& replies) {
  std::vector<std::string> all;
  std::istringstream texts(replies + "|");
  for (std::string text; std::getline(texts, text, '|');) all.push_back(text);
  return [all, next = std::size_t{0}](const std::string&) mutable {
    return all[std::min(next++, all.size() - 1)];
  };
}

/// An instrument with registers r1, r2, ...: how many, their highest number, and the numbers left
/// out behind positions, such as "79 139 33:31 36:29".
Played::Answering WithNumbers(const std::string& text) {
  std::istringstream words(text);
  int count = 0;
  std::string highest;
  words >> count >> highest;
  std::map<int, int> gaps;
  char colon = 0;
  for (int behind = 0, gap = 0; words >> behind >> colon >> gap;) gaps[behind] = gap;
  std::string names;
  std::set<std::string> numbers;
  for (int place = 1, number = 1; place <= count; ++place, ++number) {
    names += "r" + std::to_string(place) + ".0,";
    numbers.insert(std::to_string(number));
    number += gaps[place];
  }
  return [=](const std::string& request) {
    if (request.empty()) return request;
    const std::string code = request.substr(1, 5);
    if (code == "4LPRC") return "[4LPRC 0 " + highest + "]$" + names + "$";
    const std::string number = request.size() < 10 ? "" : request.substr(10, request.size() - 11);
    return "[" + code + " 0 " + (numbers.count(number) > 0 ? number + " x]$" : "SE]$");
  };
}

std::string Shown(const AKReply& reply) {
  return reply.code + "," + std::to_string(reply.status) + "," + reply.fields +
         (reply.refused ? ",refused" : "");
}

std::string Shown(const MDBlock& block) {
  std::string shown = block.registerNumber + " " + block.Decimal() + " " + block.component + " " +
                      block.location + " " + block.OperatingMode();
  for (const std::string& error : block.Errors()) shown += ", " + error;
  return shown + "; ";
}

std::string Searched(Line& line, const Address& address, bool gnp) {
  Search search(line, address, gnp);
  const bool found = search.Find();
  const Address& at = search.Found();
  std::string shown = !found           ? "nothing"
                      : search.IsGNP() ? "GNP " + at.id
                                       : std::string("AK ") + at.station;
  shown +=
      " " + at.channel + (search.HasChannel() ? " " : "? ") + std::to_string(search.Channels());
  if (search.IsEchoed()) shown += " echoed";
  if (search.HasOthers()) shown += " others";
  return shown + (search.Noise().empty() ? "" : " noise ") + Short(search.Noise());
}

/// Kind, station, code, channel or status, text (the bytes, where there is no frame) and problem of
/// each frame; | is a pause.
std::string Decoded(const std::string& all) {
  static constexpr const char* kKinds[] = {"request", "reply", "line", "DA", "MD", "other", "none"};
  FrameDecoder decoder;
  std::string told;
  std::string bytes;
  const auto tell = [&](const std::vector<Frame>& frames) {
    for (const Frame& frame : frames) {
      const bool none = frame.kind == Frame::Kind::kNone;
      bytes += frame.bytes;
      told += std::string(kKinds[static_cast<int>(frame.kind)]) + "(";
      if (frame.station != 0) told += frame.station;
      told += frame.code + "," + frame.channel + frame.status + "," +
              Short(none ? frame.bytes : frame.text) + "," + frame.problem + ")";
    }
  };
  std::string added;
  for (const char byte : all) {
    tell(byte == '|' ? decoder.End() : decoder.Add(byte));
    if (byte != '|') added += byte;
  }
  tell(decoder.End());
  EXPECT_EQ(bytes, added);
  return told;
}

/// Does what a command says; the rest of it are its arguments.
std::string Do(const std::string& command, Line& line, Logger& logger, RegisterNumbers& numbers) {
  std::istringstream words(command);
  std::string word;
  std::string text;
  std::string shown;
  words >> word >> text;
  Address address;
  if (word == "AREG") return Shown(logger.ReadRegister(7));
  if (word == "EREG") return Shown(logger.WriteRegister(7, text));
  if (word == "LDHD") return Shown(logger.Header());
  if (word == "raw") return Short(logger.Raw(text, false));
  if (word == "rawgnp") return Short(logger.Raw(text, true));
  if (word == "search") return Searched(line, logger.GetAddress(), text == "gnp");
  if (word == "refused") {
    RequireDone({text, 0, "SE", true}, text);
  } else if (word == "address") {
    address.station = text[0];
    words >> address.channel >> address.id;
    logger.SetAddress(address);
  } else if (word == "ASTO") {
    const Records records = logger.NextRecords(2);
    shown = Shown(records.reply) + ": ";
    for (const std::string& record : records.lines) shown += record + "; ";
    shown += (records.pointerMoved ? "" : "stays") + Short(records.rest);
  } else if (word == "LPRC") {
    const RegisterListing listing = logger.ListRegisters();
    shown = Shown(listing.reply) + ": " + std::to_string(listing.highest);
    for (const std::string& name : listing.names) shown += " " + name;
  } else if (word == "DA") {
    const MDFrame frame = logger.Data();
    for (const MDBlock& block : frame.blocks) shown += Shown(block);
    shown += frame.checkValue + Short(frame.responseEnd);
  } else if (word == "find") {
    for (const Register& reg : numbers.Find({text})) {
      shown += std::to_string(reg.number) + " " + reg.name + " " + reg.label + "; ";
    }
  } else if (word == "learn") {
    numbers.Learn();
    shown = numbers.Name(std::stoi(text));
  } else if (word == "position") {
    shown = std::to_string(numbers.Position(text)) + " of " + std::to_string(numbers.Highest());
  } else {
    shown = Shown(logger.Ask(word, text));
  }
  return shown;
}

/// All that passes, with the ends of the commands.
std::string Asked(const std::string& commands, const std::string& replies) {
  if (commands == "frames") return Decoded(Bytes(Long(replies)));
  Played line(replies[0] == '#' ? WithNumbers(replies.substr(1)) : InTurn(replies));
  Logger logger(line, {}, milliseconds(3000));
  RegisterNumbers numbers(logger);
  std::istringstream all(commands);
  for (std::string command; std::getline(all, command, ';');) {
    try {
      line.Tell("= " + Do(command, line, logger, numbers));
    } catch (const Failure& failure) {
      const bool notSent = dynamic_cast<const NotSent*>(&failure) != nullptr;
      const bool notKnown = dynamic_cast<const NotKnown*>(&failure) != nullptr;
      line.Tell((notSent    ? "not sent "
                 : notKnown ? "not known "
                            : "failed ") +
                std::to_string(failure.status) + " " + failure.what());
    }
  }
  line.Tell(std::to_string(logger.ReplyTime().count()) + (logger.IsCaughtUp() ? "" : " behind"));
  return line.Told();
}

/// A long story without its middle.
std::string Elided(const std::string& text) {
  return text.size() < 1500 ? text : text.substr(0, 300) + "..." + text.substr(text.size() - 300);
}

/// Each line of the file: commands, what comes, and what comes of it.
TEST(Logger, HoldsItsConversations) {
  std::ifstream text(CONVERSATIONS);
  int count = 0;
  for (std::string line; std::getline(text, line);) {
    const std::size_t replies = line.find(" <- ");
    const std::size_t course = line.find(" -> ");
    if (line.empty() || line[0] == '-') continue;
    ASSERT_LT(replies, course) << line;
    EXPECT_EQ(
        Elided(Asked(line.substr(0, replies), line.substr(replies + 4, course - replies - 4))),
        line.substr(std::min(line.size(), course + 4)))
        << line;
    ++count;
  }
  EXPECT_GT(count, 60);
}

}  // namespace
