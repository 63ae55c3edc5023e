// What of the console is fuzzed, by name: FUZZ_TARGET names one, and the folder of its seeds. Each
// takes one input and aborts when the console does what it must not.
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>

#include "bytes.h"
#include "line/failure.h"
#include "line/line.h"
#include "logger/attribution.h"
#include "logger/frames.h"
#include "logger/logger.h"
#include "logger/register_numbers.h"
#include "logger/register_words.h"
#include "records/record_store.h"
#include "settings.h"
#include "views/course.h"
#include "views/frame_text.h"
#include "views/watch_file.h"

namespace {

void Require(bool held) {
  if (!held) std::abort();
}

/// A folder for what a target keeps, removed at the end of the process.
const struct Scratch {
  Scratch() { std::filesystem::create_directory(path); }
  ~Scratch() {
    std::error_code error;
    std::filesystem::remove_all(path, error);
  }
  const std::filesystem::path path =
      std::filesystem::temp_directory_path() / ("qmx-fuzz." + std::to_string(getpid()));
} kScratch;
const std::string kFile = kScratch.path / "kept";

void Keep(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

std::string Kept() {
  std::stringstream kept;
  kept << std::ifstream(kFile, std::ios::binary).rdbuf();
  return kept.str();
}

/// A line that brings the input's bytes; FF is a silence.
class FuzzLine : public Line {
 public:
  explicit FuzzLine(const std::string& bytes) : bytes_(bytes) {}

 protected:
  bool Open() override { return false; }
  void Write(const std::string&) override {}
  bool Read(char& byte, std::chrono::milliseconds) override {
    if (next_ == bytes_.size()) return false;
    byte = bytes_[next_++];
    return byte != '\xFF';
  }

 private:
  const std::string& bytes_;
  std::size_t next_ = 0;
};

const std::function<void(Logger&, RegisterNumbers&)> kRequests[] = {
    [](Logger& logger, RegisterNumbers&) {
      const AKReply reply = logger.Ask("LCFG");
      Require(reply.code == "LCFG" || reply.refused);
    },
    [](Logger& logger, RegisterNumbers&) { logger.ReadRegister(7); },
    [](Logger& logger, RegisterNumbers&) { logger.WriteRegister(7, "5"); },
    [](Logger& logger, RegisterNumbers&) { logger.ListRegisters(); },
    [](Logger& logger, RegisterNumbers&) { Require(logger.NextRecords(3).lines.size() <= 3); },
    [](Logger& logger, RegisterNumbers&) { logger.Header(); },
    [](Logger& logger, RegisterNumbers&) { logger.Data(); },
    [](Logger& logger, RegisterNumbers&) { logger.Raw("DA", true); },
    [](Logger&, RegisterNumbers& numbers) {
      numbers.Forget();
      for (const Register& one : numbers.Find({"qmx*"})) Require(one.number > 0);
    },
    [](Logger& logger, RegisterNumbers&) { logger.Ask("SSTO", "B"); },
};

/// The first bytes tell what is asked for; the others come over the line.
void Replies(const std::string& input) {
  const std::string requests = input.substr(0, 4);
  const std::string bytes = input.substr(requests.size());
  FuzzLine line(bytes);
  Logger logger(line, {}, std::chrono::milliseconds(0));
  RegisterNumbers numbers(logger);
  for (const char request : requests) {
    try {
      kRequests[static_cast<unsigned char>(request) % std::size(kRequests)](logger, numbers);
    } catch (const Failure&) {
      continue;
    }
  }
}

/// No byte is lost or brought twice; FF is a pause.
void Frames(const std::string& input) {
  FrameDecoder decoder;
  std::string heard;
  std::string told;
  const auto tell = [&](const std::vector<Frame>& frames) {
    for (const Frame& frame : frames) {
      // A line may be empty.
      Require(frame.kind == Frame::Kind::kLine || !InWords(frame).empty());
      Require(!frame.bytes.empty() && JsonMembers(frame).size() >= 2);
      told += frame.bytes;
    }
  };
  for (const char byte : input) {
    if (byte == '\xFF') {
      const bool whole = decoder.MayEnd();
      const auto frames = decoder.End();
      Require(!whole || (frames.size() == 1 && frames[0].problem.empty()));
      tell(frames);
    } else {
      heard += byte;
      tell(decoder.Add(byte));
    }
  }
  tell(decoder.End());
  Require(told == heard);
}

/// What is recorded can be played again, behind whatever the file held, which ends at a zero byte;
/// FF changes the direction, FE makes a pause.
void Recordings(const std::string& input) {
  const std::size_t half = input.find('\0');
  const std::string earlier = half == input.npos ? "" : input.substr(0, half);
  Keep(kFile, earlier);
  std::string passed[2];
  {
    Transcript transcript;
    auto moment = Transcript::Clock::now();
    int direction = 0;
    try {
      transcript.Record(kFile, "DEVICE");
    } catch (const Failure&) {
      Require(Kept() == earlier);
      return;
    }
    for (const char byte : input.substr(earlier.size())) {
      if (byte == '\xFE') moment += std::chrono::seconds(1);
      direction ^= byte == '\xFF' ? 1 : 0;
      passed[direction] += byte;
      transcript.Add(direction == 0 ? Direction::kToGateway : Direction::kToLogger,
                     std::string(1, byte), moment);
    }
  }
  std::istringstream recorded(Kept().substr(earlier.size()));
  std::string line;
  if (!earlier.empty() && earlier.back() != '\n') std::getline(recorded, line);
  std::getline(recorded, line);
  Require(line.compare(0, 27, "# qmx-console recording 1, ") == 0);
  std::string played[2];
  while (std::getline(recorded, line)) {
    Require(line.size() > 33 && line[31] == ' ' && line[33] == ' ');
    played[line[32] == '>' ? 0 : 1] += Bytes(line.substr(34));
  }
  Require(played[0] == passed[0] && played[1] == passed[1]);
}

void Configuration(const std::string& input) {
  Settings settings;
  std::istringstream file(input);
  try {
    settings.Read(file, "FILE");
  } catch (const Failure&) {
    return;
  }
  const auto& names = Settings::Names();
  for (const std::string& line : settings.Lines()) {
    Require(std::any_of(names.begin(), names.end(),
                        [&](const std::string& name) { return settings.Find(line, name); }));
  }
}

/// Words that name registers: the word, a zero byte, and the names there are, each behind a blank.
void RegisterWords(const std::string& input) {
  std::istringstream rest(input);
  std::string word;
  std::getline(rest, word, '\0');
  std::vector<std::string> names;
  for (std::string name; std::getline(rest, name, ' ');) names.push_back(name);
  for (const std::size_t place : PlacesOf(word, names)) {
    Require(IsPattern(word) || Holds(names.at(place), word));
  }
  std::pair<int, int> range;
  try {
    if (ParseNumbers(word, range)) Require(range.first >= 0 && range.first <= range.second);
  } catch (const Failure&) {
    return;
  }
}

/// Requests to a gateway and replies to them, some held and some lost; each byte is one step. What
/// is taken for the reply to the last request must be that.
void Attributions(const std::string& input) {
  static const char* const kCodes[] = {"AREG", "EREG", "LCFG"};
  Attribution attribution(0);
  std::deque<std::pair<int, AKReply>> held = {{0, {"LDHD", 0, "another's", false}}};
  int latest = 0;  // number of the request that a reply is waited for
  for (const char byte : input) {
    const auto step = static_cast<unsigned char>(byte);
    if (step % 4 == 0) {
      // As the console does: nothing but a mark is sent while one of its requests is open.
      const bool mark = attribution.InDoubt() == Attribution::Doubt::kOwn;
      const std::string code = mark ? attribution.Mark() : kCodes[step / 4 % 3];
      if (!mark) attribution.Sent(code, code == "LCFG" ? "" : "7");
      held.push_back({++latest, {code, 0, mark ? "SE" : "7", mark}});
    } else if (!held.empty()) {
      const auto [number, reply] = held.front();
      held.pop_front();
      if (step % 4 == 1) continue;  // lost
      const bool taken = attribution.Take(reply) == Attribution::Answers::kLatest;
      Require(taken == (number == latest && number != 0));
    }
  }
}

/// A file that a download continues, with the input as what it held, and behind a zero byte what
/// was rejected: it keeps its whole lines, and has what is added in its place, once. Or it is
/// refused, and stays as it was.
void ContinuedFiles(const std::string& input) {
  static const std::string header = "Date,Time,number,note";
  const std::size_t half = std::min(input.find('\0'), input.size());
  const std::string held = input.substr(0, half);
  Keep(kFile, held);
  std::filesystem::remove(kFile + ".rejected");
  if (half < input.size()) Keep(kFile + ".rejected", input.substr(half + 1));
  const std::vector<Record> records = {{"2026-10-25 02:00:00", "2026-10-25,02:00:00,1,\"a\"", ""},
                                       {"2026-10-25 02:05:00", "2026-10-25,02:05:00,2", "why"}};
  std::size_t rejected = 0;
  std::vector<std::string> others;
  try {
    RecordStore store(kFile, header);
    rejected = store.Rejected().size();
    store.Begin();
    store.Add(store.Missing(records, "2026-10-25", "2026-10-26", others));
  } catch (const Failure&) {
    Require(Kept() == held);
    return;
  }
  const std::string now = Kept();
  RecordStore again(kFile, header);
  Require(again.Rejected().size() <= rejected + 1);
  Require(again.Missing(records, "2026-10-25", "2026-10-26", others).empty());
  again.Begin();
  Require(Kept() == now && now.size() >= held.rfind('\n') + 1);
}

/// The file of a watch, with the input as what it held; and its table, with the input as values.
void Watches(const std::string& input) {
  std::vector<Course> courses;
  std::istringstream values(input);
  for (std::string value; courses.size() < 50 && std::getline(values, value);) {
    courses.emplace_back(Register{1, "qmxName.0", "1"});
    for (const char part : value) courses.back().Add(std::string(1, part));
    courses.back().Add(value);
  }
  for (const std::size_t size : {0U, 1U, 20U, 80U}) {
    Require(CourseTable(courses, size, size).size() <= std::max<std::size_t>(size, 3));
  }

  // A file that is not of this watch stays as it was; any other one keeps its whole lines.
  Keep(kFile, input);
  const std::vector<Course> one = {Course({7, "", "7"})};
  try {
    WatchFile(kFile, one).Add("now", one);
    const std::size_t whole = input.rfind('\n') + 1;
    const std::string header = whole == 0 ? "time,7\n" : "";
    Require(Kept() == input.substr(0, whole) + header + "now,\n");
  } catch (const Failure&) {
    Require(Kept() == input);
  }
}

const std::map<std::string, std::function<void(const std::string&)>> kTargets = {
    {"console_replies", Replies},         {"console_frames", Frames},
    {"console_recordings", Recordings},   {"console_configuration", Configuration},
    {"console_registers", RegisterWords}, {"console_attribution", Attributions},
    {"console_watch", Watches},           {"console_records", ContinuedFiles},
};

}  // namespace

/// Runs one input on the target named by FUZZ_TARGET.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static const auto& target = [] {
    const char* name = std::getenv("FUZZ_TARGET");
    return kTargets.at(name == nullptr ? "" : name);
  }();
  target(std::string(reinterpret_cast<const char*>(bytes), size));
  return 0;
}
