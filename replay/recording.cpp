#include "recording.h"

#include <algorithm>
#include <stdexcept>

#include "lab.h"

namespace {

constexpr char kTitle[] = "# qmx-console recording ";
constexpr std::size_t kSecond = 19;  // characters of a time up to its second

struct Run {
  std::string time;
  bool toGateway = false;
  std::string bytes;
};

/// Takes a line apart; false for one that is none. One that was cut may end in half a byte's name.
bool ParseRun(const std::string& line, bool cut, Run& run) {
  const std::size_t blank = line.find(' ');
  if (blank == std::string::npos || blank < kSecond || line[10] != 'T' || line.size() < blank + 3 ||
      line[blank + 2] != ' ' || (line[blank + 1] != '<' && line[blank + 1] != '>')) {
    return false;
  }
  run.time = line.substr(0, 10) + " " + line.substr(11, kSecond - 11);
  run.toGateway = line[blank + 1] == '>';
  std::string text = line.substr(blank + 3);
  const std::size_t name = text.rfind('<');
  if (cut && name != std::string::npos && text.find('>', name) == std::string::npos) {
    text.erase(name);
  }
  run.bytes = Bytes(text);
  return true;
}

std::vector<Run> ReadRuns(std::istream& text) {
  std::vector<Run> runs;
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
    Run run;
    if (ParseRun(line, cut, run)) {
      runs.push_back(run);
    } else if (!cut) {
      throw std::runtime_error("line " + std::to_string(number) +
                               ": no TIME DIRECTION TEXT: " + line);
    }
  }
  return runs;
}

}  // namespace

std::vector<Passed> ReadRecording(std::istream& text) {
  std::vector<Passed> passed;
  FrameDecoder decoders[2];
  Run latest;
  const auto add = [&](const std::vector<Frame>& frames) {
    for (const Frame& frame : frames) passed.push_back({latest.time, latest.toGateway, frame});
  };
  for (const Run& run : ReadRuns(text)) {
    if (run.toGateway != latest.toGateway) add(decoders[latest.toGateway ? 1 : 0].End());
    latest = run;
    for (const char byte : run.bytes) add(decoders[run.toGateway ? 1 : 0].Add(byte));
  }
  add(decoders[latest.toGateway ? 1 : 0].End());
  const auto isRequest = [](const Passed& one) { return one.toGateway && one.frame.IsRequest(); };
  passed.erase(passed.begin(), std::find_if(passed.begin(), passed.end(), isRequest));
  while (!passed.empty() && passed.back().toGateway && !isRequest(passed.back())) passed.pop_back();
  return passed;
}
