#include "logger/search.h"

#include <algorithm>

#include "logger/reply.h"
#include "serial/control_bytes.h"

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kQuiet(300);   // before anything is sent
constexpr milliseconds kNoisy(1000);  // the same where that is not quiet
constexpr milliseconds kReply(1500);  // an honest agent has answered by then
constexpr milliseconds kStations(2500);
constexpr milliseconds kSlowAgent(7000);
constexpr milliseconds kRefusal(1000);
constexpr std::chrono::seconds kAll(33);

constexpr char kStationCodes[] = "0123456789-";
constexpr char kType[] = "LCFG";
constexpr std::size_t kNoiseShown = 32;

/// K0 to K9, then letter and digit, then what else two of them make.
std::vector<std::string> AllChannels() {
  const std::string digits = "0123456789";
  const std::string letters = "KABCDEFGHIJLMNOPQRSTUVWXYZ";
  std::vector<std::string> channels;
  const auto add = [&](const std::string& first, const std::string& second) {
    for (const char a : first) {
      for (const char b : second) channels.push_back({a, b});
    }
  };
  add(letters, digits);
  add(letters, letters);
  add(digits, digits + letters);
  return channels;
}

/// Whether it is more than noise that happens to stand between STX and ETX.
bool IsPlain(const Frame& frame) {
  const std::string text = frame.bytes.substr(1, frame.bytes.find(kETX) - 1);
  return frame.problem.empty() && std::all_of(text.begin(), text.end(),
                                              [](char byte) { return byte >= ' ' && byte < 0x7F; });
}

}  // namespace

void Search::TakeReply(const Frame& reply) {
  found_ = answered_ = true;
  gnp_ = reply.kind == Frame::Kind::kGNPReply;
  if (gnp_) {
    address_.id = reply.text.substr(5, 3);
    return;
  }
  address_.station = reply.station;
  // Each channel is answered, in the order of asking.
  if (reply.code == kType && !channels_.empty()) {
    channelFound_ = true;
    address_.channel = channels_.front();
  }
  if (!channels_.empty()) channels_.pop_front();
}

void Search::Take(const std::vector<Frame>& frames) {
  for (const Frame& frame : frames) {
    const bool ours = frame.code == kType || frame.code == kUnknown ||
                      (frame.problem.empty() && frame.text.compare(0, 2, "MD") == 0);
    if (frame.IsReply() && ours && !sent_.empty()) {
      TakeReply(frame);
    } else if (frame.IsRequest() && sent_.find(frame.bytes) != std::string::npos) {
      echoed_ = true;
    } else if ((frame.IsRequest() || frame.IsReply()) && IsPlain(frame)) {
      others_ = true;
    } else if (frame.bytes.find_first_not_of("\r\n") != std::string::npos) {
      noise_ = (noise_ + frame.bytes).substr(0, kNoiseShown);
    }
  }
}

void Search::Listen(milliseconds wait) {
  answered_ = false;
  const auto end = Clock::now() + wait;
  auto latest = Clock::now();
  char byte = 0;
  while (!answered_ && Clock::now() < end) {
    const auto left = std::chrono::ceil<milliseconds>(end - Clock::now());
    if (line_.Receive(byte, std::min(kFrameEnds, left))) {
      latest = Clock::now();
      Take(decoder_.Add(byte));
    } else if (decoder_.MayEnd() || Clock::now() - latest > kAnyEnds) {
      Take(decoder_.End());
    }
  }
}

void Search::Send(const std::string& bytes) {
  sent_ += bytes;
  line_.Send(bytes);
}

void Search::AskAK(const std::string& stations, const std::string& channel) {
  std::string requests;
  for (const char station : stations) {
    requests += kSTX + (station + std::string(kType)) + " " + channel + kETX;
  }
  channels_.push_back(channel);
  Send(requests);
}

void Search::FindChannel(Clock::time_point end) {
  for (const std::string& channel : AllChannels()) {
    if (channelFound_ || Clock::now() > end) return;
    if (channel == asked_.channel) continue;
    ++tried_;
    address_.channel = channel;
    AskAK({address_.station}, channel);
    Listen(kRefusal);
  }
}

bool Search::Find() {
  const auto begin = Clock::now();
  Listen(kQuiet);
  if (others_ || !noise_.empty()) Listen(kNoisy);
  const auto askAK = [&] { AskAK({asked_.station}, asked_.channel); };
  // A CR ends what a gateway may still wait for, and stands in place of the check value.
  const auto askGNP = [&] { Send(kCR + std::string(1, kSTX) + "DA" + kETX + kCR); };
  gnpAsked_ ? askGNP() : askAK();
  Listen(kReply);
  if (!found_) {
    gnpAsked_ ? askAK() : askGNP();
    Listen(kReply);
  }
  if (!found_) {
    // All at once: stations that are not this one's say nothing.
    std::string stations = kStationCodes;
    stations.erase(std::remove(stations.begin(), stations.end(), asked_.station), stations.end());
    channels_.clear();
    AskAK(stations, asked_.channel);
    Listen(kStations);
  }
  if (!found_ && !echoed_) Listen(kSlowAgent);
  if (found_ && !gnp_ && !channelFound_) FindChannel(begin + kAll);
  return found_;
}
