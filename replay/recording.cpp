#include "recording.h"

#include <algorithm>
#include <stdexcept>

#include "lab.h"

namespace {

constexpr char kTitle[] = "# qmx-console recording ";
constexpr std::size_t kSecond = 19;  // characters of a time up to its second

struct Burst {
  std::string time;
  bool toGateway = false;
  std::string bytes;
};

/// Takes a line apart; false for one that is none. One that was cut may end in half a byte's name.
bool ParseBurst(const std::string& line, bool cut, Burst& burst) {
  const std::size_t blank = line.find(' ');
  if (blank == std::string::npos || blank < kSecond || line[10] != 'T' || line.size() < blank + 3 ||
      line[blank + 2] != ' ' || (line[blank + 1] != '<' && line[blank + 1] != '>')) {
    return false;
  }
  burst.time = line.substr(0, 10) + " " + line.substr(11, kSecond - 11);
  burst.toGateway = line[blank + 1] == '>';
  std::string text = line.substr(blank + 3);
  const std::size_t name = text.rfind('<');
  if (cut && name != std::string::npos && text.find('>', name) == std::string::npos) {
    text.erase(name);
  }
  burst.bytes = Bytes(text);
  return true;
}

std::vector<Burst> ReadBursts(std::istream& text) {
  std::vector<Burst> bursts;
  std::string line;
  for (int number = 1; std::getline(text, line); ++number) {
    const bool cut = text.eof();
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (number == 1 && line.compare(0, sizeof kTitle - 1, kTitle) != 0) {
      throw std::runtime_error("line 1: no recording, which begins with \"" + std::string(kTitle) +
                               "1\"");
    }
    if (line.empty() || line[0] == '#') {
      if (line.compare(0, sizeof kTitle - 1, kTitle) == 0 && line[sizeof kTitle - 1] != '1') {
        throw std::runtime_error("line " + std::to_string(number) + ": another version: " + line);
      }
      continue;
    }
    Burst burst;
    if (ParseBurst(line, cut, burst)) {
      bursts.push_back(burst);
    } else if (!cut) {
      throw std::runtime_error("line " + std::to_string(number) +
                               ": no TIME DIRECTION TEXT: " + line);
    }
  }
  return bursts;
}

}  // namespace

std::vector<Passed> ReadRecording(std::istream& text) {
  std::vector<Passed> passed;
  FrameDecoder decoders[2];
  Burst latest;
  const auto add = [&](const std::vector<Frame>& frames) {
    for (const Frame& frame : frames) passed.push_back({latest.time, latest.toGateway, frame});
  };
  for (const Burst& burst : ReadBursts(text)) {
    if (burst.toGateway != latest.toGateway) add(decoders[latest.toGateway ? 1 : 0].End());
    latest = burst;
    for (const char byte : burst.bytes) add(decoders[burst.toGateway ? 1 : 0].Add(byte));
  }
  add(decoders[latest.toGateway ? 1 : 0].End());
  const auto isRequest = [](const Passed& one) { return one.toGateway && one.frame.IsRequest(); };
  passed.erase(passed.begin(), std::find_if(passed.begin(), passed.end(), isRequest));
  while (!passed.empty() && passed.back().toGateway && !isRequest(passed.back())) passed.pop_back();
  return passed;
}
