#include "views/listen.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <deque>
#include <iostream>

#include "line/interrupt.h"
#include "line/line.h"
#include "line/moment.h"
#include "line/visible.h"
#include "logger/frames.h"
#include "logger/reply.h"
#include "views/frame_text.h"
#include "views/session.h"

namespace {

using Clock = std::chrono::system_clock;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// Longer than the gateway waits for an agent that does not answer.
constexpr std::chrono::seconds kReplyMayTake(10);

/// A frame, when its bytes came, and where to.
struct Heard {
  Frame frame;
  std::deque<Clock::time_point> moments;
  Direction direction;
};

/// One adapter. What it hears goes in one direction, or in both.
class Ear {
 public:
  Ear(Line& line, Direction expected) : line_(line), direction_(expected) {}

  /// Adds what is whole by now.
  void Listen(std::vector<Heard>& heard) {
    char byte = 0;
    for (int i = 0; i < 100 && line_.Hear(byte, milliseconds(0)); ++i) {
      moments_.push_back(Clock::now());
      latest_ = steady_clock::now();
      Take(decoder_.Add(byte), heard);
    }
    const auto silence = steady_clock::now() - latest_;
    if (silence > kAnyEnds || (silence > kFrameEnds && decoder_.MayEnd())) End(heard);
  }

  /// Adds what is at hand.
  void End(std::vector<Heard>& heard) { Take(decoder_.End(), heard); }

  /// Whether nothing at hand is older.
  bool IsPast(Clock::time_point moment) const {
    return moments_.empty() || moments_.front() >= moment;
  }

 private:
  void Take(const std::vector<Frame>& frames, std::vector<Heard>& heard) {
    for (const Frame& frame : frames) {
      if (frame.IsRequest()) direction_ = Direction::kToGateway;
      if (frame.IsReply()) direction_ = Direction::kToLogger;
      const auto end = moments_.begin() + static_cast<std::ptrdiff_t>(frame.bytes.size());
      heard.push_back({frame, {moments_.begin(), end}, direction_});
      moments_.erase(moments_.begin(), end);
    }
  }

  Line& line_;
  Direction direction_;  // of what was heard last
  FrameDecoder decoder_;
  std::deque<Clock::time_point> moments_;  // of the bytes that the decoder has at hand
  steady_clock::time_point latest_;
};

/// Whether the reply may be to this request: a reply tells little of it.
bool MayAnswer(const Frame& reply, const Frame& request) {
  if (reply.kind == Frame::Kind::kGNPReply) return request.kind == Frame::Kind::kGNPRequest;
  if (reply.station != request.station) return false;
  if (reply.code == kUnknown) return true;
  const bool numbered = (reply.code == "AREG" || reply.code == "EREG") && reply.text != "SE";
  const auto number = [](const std::string& text) { return text.substr(0, text.find(' ')); };
  return reply.code == request.code && (!numbered || number(reply.text) == number(request.text));
}

/// What both sides have said.
class Conversation {
 public:
  /// As long as only one direction is heard, no reply is missed.
  Conversation(Session& session, bool both) : session_(session), both_(both) {}

  void Add(const Heard& heard) {
    const Frame& frame = heard.frame;
    if (frame.IsReply()) Answer(frame);
    for (std::size_t i = 0; i < heard.moments.size(); ++i) {
      session_.line.GetTranscript().Add(heard.direction, frame.bytes.substr(i, 1),
                                        heard.moments[i]);
    }
    std::string text = Column(KindText(frame.kind)) + InWords(frame);
    // A line has nothing but itself to tell.
    if (frame.kind != Frame::Kind::kLine) text += "\n" + Column("", 15) + Visible(frame.bytes);
    Print(heard.moments.front(), heard.direction, JsonMembers(frame), text);
    if (frame.IsRequest()) asked_.push_back(heard);
    requests_ += frame.IsRequest() ? 1 : 0;
    noise_ += frame.kind == Frame::Kind::kNone ? frame.bytes.size() : 0;
  }

  /// To be called now and then: a reply that does not come is missed.
  void Wait() {
    while (!asked_.empty() && Clock::now() - asked_.front().moments.back() > kReplyMayTake) {
      GiveUp();
    }
  }

  void CountUp() const {
    // Behind the ^C that the terminal shows.
    if (Interrupt::Noted() != 0 && isatty(2) == 1) std::cerr << "\n";
    std::cerr << "Requests: " << requests_ << ", replies: " << replies_;
    if (both_) std::cerr << ", requests without a reply: " << unanswered_;
    std::cerr << ", bytes that belong to no frame: " << noise_ << ".";
    if (requests_ + replies_ == 0) {
      std::cerr << (noise_ == 0 ? " Check the cable."
                                : " The speed may be another than 9600 baud.");
    }
    std::cerr << std::endl;
  }

 private:
  void Answer(const Frame& reply) {
    both_ = true;
    ++replies_;
    // Who asks the same again has given up the first time.
    const auto asked = std::find_if(asked_.rbegin(), asked_.rend(), [&reply](const Heard& request) {
      return MayAnswer(reply, request.frame);
    });
    auto place = std::distance(asked, asked_.rend());  // 1 is the oldest, 0 none
    for (; place > 1; --place) GiveUp();
    if (place == 1) asked_.pop_front();
  }

  void GiveUp() {
    const auto since = asked_.front().moments.front();
    asked_.pop_front();
    if (!both_) return;
    ++unanswered_;
    Print(Clock::now(), Direction::kToLogger,
          {{"kind", JsonText("no reply")}, {"request", JsonText(MomentText(since, 3))}},
          Column("no reply") + "to the request of " + TimeOfDay(since, 3));
  }

  static std::string Column(std::string text, std::size_t width = 13) {
    text.resize(width, ' ');
    return text;
  }

  void Print(Clock::time_point moment, Direction direction,
             const std::vector<std::pair<std::string, std::string>>& members,
             const std::string& text) const {
    const std::string sign(1, static_cast<char>(direction));
    if (!session_.report.Json()) {
      std::cout << TimeOfDay(moment, 3) << " " << sign << " " << text << std::endl;
      return;
    }
    std::vector<std::pair<std::string, std::string>> all = {
        {"time", JsonText(MomentText(moment, 3))}, {"direction", JsonText(sign)}};
    all.insert(all.end(), members.begin(), members.end());
    std::cout << JsonObject(all) << std::endl;
  }

  Session& session_;
  bool both_;                // both directions are heard
  std::deque<Heard> asked_;  // requests that have no reply yet
  long requests_ = 0;
  long replies_ = 0;
  long unanswered_ = 0;
  std::size_t noise_ = 0;  // bytes
};

}  // namespace

void Listen(Session& session, const ListenOptions& options) {
  std::unique_ptr<Line> other;
  if (!options.other.empty()) other = OpenLine(options.other, std::make_shared<Transcript>());
  std::deque<Ear> ears = {Ear(session.line, Direction::kToLogger)};
  if (other) ears.emplace_back(*other, Direction::kToGateway);
  Conversation conversation(session, other != nullptr);
  const Interrupt interrupt(Interrupt::Then::kFinish);
  const auto end = steady_clock::now() + std::chrono::duration<double>(options.seconds);
  std::vector<Heard> heard;
  const auto tell = [&] {
    const auto moment = [](const Heard& one) { return one.moments.front(); };
    std::stable_sort(heard.begin(), heard.end(), [&](const Heard& left, const Heard& right) {
      return moment(left) < moment(right);
    });
    // What one adapter has heard waits for what the other one began to hear before.
    const auto next = std::find_if(heard.begin(), heard.end(), [&](const Heard& one) {
      return std::any_of(ears.begin(), ears.end(),
                         [&](const Ear& ear) { return !ear.IsPast(moment(one)); });
    });
    std::for_each(heard.begin(), next, [&](const Heard& one) { conversation.Add(one); });
    heard.erase(heard.begin(), next);
    conversation.Wait();
  };
  while (Interrupt::Noted() == 0 && (options.seconds == 0 || steady_clock::now() < end)) {
    pollfd lines[] = {{session.line.ToPoll(), POLLIN, 0},
                      {other ? other->ToPoll() : -1, POLLIN, 0}};
    poll(lines, std::size(lines), static_cast<int>(kFrameEnds.count()));
    for (Ear& ear : ears) ear.Listen(heard);
    tell();
    RequireOutput();
  }
  for (Ear& ear : ears) ear.End(heard);
  tell();
  conversation.CountUp();
}
