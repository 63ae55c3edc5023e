#include "exchange.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <stdexcept>
#include <utility>

#include "lab.h"
#include "line/failure.h"
#include "logger/md_frame.h"
#include "registers/own_registers.h"
#include "value.h"

namespace {

/// A number that DA shows as these digits: it cuts behind the fourth one.
std::string Uncut(const std::string& value, char type) {
  double mantissa = std::strtod(value.substr(0, 5).c_str(), nullptr);
  int exponent = std::atoi(value.c_str() + 5);
  const bool real = type == 'F' || type == 'D';
  if (mantissa != 0 && real) {
    for (; std::fabs(mantissa) < 1000; --exponent) mantissa *= 10;
    mantissa += std::copysign(0.5, mantissa);
  }
  char text[64];
  std::snprintf(text, sizeof text, real ? "%.9g" : "%.0f", mantissa * std::pow(10, exponent));
  return text;
}

/// The time stamp of the last record in a reply; empty where there is none.
std::string Newest(const std::vector<Passed>& replies) {
  if (replies.empty()) return "";
  const Frame& last = replies.back().frame;
  const std::size_t comma = last.text.find(',');
  return last.kind != Frame::Kind::kLine || comma == std::string::npos
             ? ""
             : last.text.substr(0, comma) + " " +
                   last.text.substr(comma + 1, last.text.find(',', comma + 1) - comma - 1);
}

class Writer {
 public:
  explicit Writer(const Known& known) : known_(known), moving_(known.moving), mode_(known.mode) {}

  void Take(const Turn& turn, const std::string& logged) {
    const auto& [request, replies] = turn;
    if (logged_.empty()) logged_ = logged;
    if (replies.empty()) {
      lost_ = lost_ || request.frame.kind != Frame::Kind::kNone;
      return Write(request.frame, replies);
    }
    const Frame& reply = replies[0].frame;
    if (reply.IsReply()) SwitchTo(reply.kind == Frame::Kind::kGNPReply ? 1 : 0);
    written_.clear();
    asked_ = steps_.size();
    if (request.frame.code == "ASTO" || request.frame.code == "SSTO") LogUntil(logged);
    if (request.frame.code == "EREG") Protect(NameOf(request.frame.text));
    if (reply.kind == Frame::Kind::kAKReply) MoveForAK(request.frame, reply);
    if (reply.kind == Frame::Kind::kGNPReply) MoveForGNP(reply.text);
    Write(request.frame, replies);
    answered_ = steps_.size();
    lost_ = false;
  }

  std::vector<std::string> Steps() { return std::move(steps_); }

 private:
  /// The mode is read before each frame is waited for: it was changed before the last frame that
  /// got a reply, unless others were lost behind it, which the old protocol took.
  void SwitchTo(int mode) {
    if (std::exchange(mode_, mode) == mode || written_ == kRS232Mode) return;
    const std::size_t at = lost_ ? answered_ : asked_;
    std::vector<std::string> steps = {std::string("register ") + kRS232Mode + " i " +
                                      std::to_string(mode)};
    if (answered_ > 0) steps.insert(steps.begin(), "waiting");
    steps_.insert(steps_.begin() + static_cast<std::ptrdiff_t>(at), steps.begin(), steps.end());
  }

  void LogUntil(const std::string& logged) {
    if (!known_.logged || logged <= logged_) return;
    if (known_.logged(logged_, logged)) {
      steps_.push_back("sql INSERT INTO LogEntry SELECT * FROM later WHERE time_stamp > '" +
                       logged_ + "' AND time_stamp <= '" + logged + "'");
    }
    logged_ = logged;
  }

  void Protect(const std::string& name) {
    if (known_.readOnly.count(name) > 0 && protected_.insert(name).second) {
      steps_.push_back("fault set " + name + " error 2 1");
    }
  }

  void Move(const std::string& name, const std::string& value) {
    const auto moving = moving_.find(name);
    if (moving == moving_.end() || shown_[name] == value) return;
    try {
      Encode(moving->second, value);
    } catch (const std::runtime_error&) {
      return;  // no value of the register's type: the reply will differ, as it should
    }
    shown_[name] = value;
    steps_.push_back("register " + name + " " + moving->second + " " + Written(value));
  }

  std::string NameOf(const std::string& number) const {
    const auto found = known_.registers.find(std::atoi(number.c_str()));
    return found == known_.registers.end() ? "" : found->second;
  }

  void MoveForAK(const Frame& request, const Frame& reply) {
    Move(kStatusCondition, reply.status);
    Move(kAKStationCode, std::string(1, reply.station));
    if (reply.code != "????") Move(kAKChannelNumber, request.channel);
    const std::size_t blank = reply.text.find(' ');
    if (reply.code == "EREG") {
      written_ = NameOf(reply.text);
      moving_.erase(written_);
    }
    if (reply.code != "AREG" || blank == std::string::npos) return;
    std::string value = reply.text.substr(blank + 1);
    if (value.compare(0, 5, "OID: ") == 0) value.erase(0, 5);
    Move(NameOf(reply.text.substr(0, blank)), value);
  }

  void MoveForGNP(const std::string& text) {
    try {
      for (const MDBlock& block : ParseMDText(text)) {
        const auto moving = moving_.find(NameOf(block.registerNumber));
        if (moving != moving_.end()) Move(moving->first, Uncut(block.value, moving->second));
      }
    } catch (const Failure&) {
      // A frame that is none shows no values; it is compared byte by byte.
    }
  }

  void Write(const Frame& request, const std::vector<Passed>& replies) {
    const std::string text = request.bytes.substr(1, request.bytes.size() - 2);
    const bool plain = request.kind == Frame::Kind::kAKRequest && request.bytes == Request(text) &&
                       text.find(" => ") == std::string::npos;
    std::size_t first = 0;
    std::string step = (plain ? "ask " : "send ") + Written(plain ? text : request.bytes);
    if (plain && !replies.empty()) {
      const std::string& reply = replies[0].frame.bytes;
      const std::string inner = reply.size() > 4 ? reply.substr(1, reply.size() - 4) : "";
      if (reply == Reply(inner)) {
        step += " => " + Written(inner);
        first = 1;
      }
    }
    steps_.push_back(step);
    for (; first < replies.size(); ++first) {
      steps_.push_back("receive " + Written(replies[first].frame.bytes));
    }
  }

  const Known& known_;
  std::map<std::string, char> moving_;
  int mode_;
  std::string logged_;   // time up to which records are in the table
  std::string written_;  // register that the last request with a reply wrote
  std::map<std::string, std::string> shown_;
  std::set<std::string> protected_;
  std::vector<std::string> steps_;
  std::size_t asked_ = 0;     // steps before the last request that got a reply
  std::size_t answered_ = 0;  // steps up to that reply
  bool lost_ = false;         // whether a frame behind it got none
};

}  // namespace

std::string Written(const std::string& bytes) {
  std::string text;
  for (const char byte : bytes) {
    text += byte == '<' ? "<x3C>" : Visible(std::string(1, byte));
  }
  // Blanks at the end of a line are easily lost.
  if (!text.empty() && text.back() == ' ') text.replace(text.size() - 1, 1, "<x20>");
  return text;
}

std::vector<Turn> TakeTurns(const std::vector<Passed>& passed) {
  std::vector<Turn> turns;
  for (const Passed& one : passed) {
    if (one.toGateway) {
      turns.push_back({one, {}});
    } else {
      turns.back().replies.push_back(one);
    }
  }
  return turns;
}

std::vector<std::string> LoggedUntil(const std::vector<Turn>& turns) {
  std::vector<std::string> logged(turns.size());
  std::string limit;
  for (std::size_t i = turns.size(); i-- > 0;) {
    const auto& [request, replies] = turns[i];
    const std::string newest = request.frame.code == "ASTO" ? Newest(replies) : "";
    const bool all = !newest.empty() && std::atol(replies[0].frame.text.c_str()) <
                                            std::atol(request.frame.text.c_str());
    if (all) limit = newest;
    logged[i] = newest.empty() ? request.time : newest;
    if (!limit.empty()) logged[i] = std::min(logged[i], limit);
  }
  return logged;
}

std::vector<std::string> WriteSteps(const std::vector<Turn>& turns, const Known& known) {
  Writer writer(known);
  const std::vector<std::string> logged = LoggedUntil(turns);
  for (std::size_t i = 0; i < turns.size(); ++i) writer.Take(turns[i], logged[i]);
  return writer.Steps();
}
