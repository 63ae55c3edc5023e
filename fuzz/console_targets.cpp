// What of the console is fuzzed, by name: FUZZ_TARGET names one, and the folder of its seeds.
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>

#include "../tests/bytes.h"
#include "line/failure.h"
#include "line/line.h"
#include "logger/attribution.h"
#include "logger/frames.h"
#include "logger/logger.h"
#include "logger/register_numbers.h"
#include "records/record_store.h"
#include "settings.h"
#include "views/frame_text.h"

namespace {

void Require(bool held) {
  if (!held) std::abort();
}

/// A file for what a target keeps, removed at the end of the process.
class Scratch {
 public:
  explicit Scratch(const char* ending)
      : path(std::filesystem::temp_directory_path() /
             ("qmx-fuzz." + std::to_string(getpid()) + ending)) {}
  ~Scratch() {
    std::error_code error;
    std::filesystem::remove(path, error);
    std::filesystem::remove(path + ".rejected", error);
  }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  const std::string path;
};

std::string ReadAll(const std::string& path) {
  std::ifstream kept(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(kept), {}};
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
    [](Logger& logger, auto&) {
      const AKReply reply = logger.Ask("LCFG");
      Require(reply.code == "LCFG" || reply.refused);
    },
    [](Logger& logger, auto&) { logger.ReadRegister(7); },
    [](Logger& logger, auto&) { logger.WriteRegister(7, "5"); },
    [](Logger& logger, auto&) { logger.ListRegisters(); },
    [](Logger& logger, auto&) { Require(logger.NextRecords(3).lines.size() <= 3); },
    [](Logger& logger, auto&) { logger.Header(); },
    [](Logger& logger, auto&) { logger.Data(); },
    [](Logger& logger, auto&) { logger.Raw("DA", true); },
    [](Logger&, RegisterNumbers& numbers) {
      numbers.Forget();
      for (const Register& one : numbers.Find({"qmx*"})) Require(one.number > 0);
    },
    [](Logger& logger, auto&) { logger.Ask("SSTO", "B"); }};

/// The first bytes tell what is asked for, ten kinds of requests; the others come over the line.
void Replies(const std::string& input) {
  const std::size_t count = std::min<std::size_t>(input.size(), 4);
  const std::string bytes = input.substr(count);
  FuzzLine line(bytes);
  Logger logger(line, {}, std::chrono::milliseconds(0));
  RegisterNumbers numbers(logger);
  for (std::size_t i = 0; i < count; ++i) {
    try {
      kRequests[static_cast<unsigned char>(input[i]) % 10](logger, numbers);
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

/// What is recorded can be played again, behind whatever the file held; FF changes the direction,
/// FE makes a pause.
void Recordings(const std::string& input) {
  static const Scratch scratch(".txt");
  const std::string& file = scratch.path;
  const std::size_t half = input.find('\0');
  const std::string earlier = half == input.npos ? "" : input.substr(0, half);
  std::ofstream(file, std::ios::binary) << earlier;
  std::string passed[2];
  {
    Transcript transcript;
    auto moment = Transcript::Clock::now();
    int direction = 0;
    try {
      transcript.Record(file, "DEVICE");
    } catch (const Failure&) {
      Require(ReadAll(file) == earlier);
      return;
    }
    for (const char byte : input.substr(half == input.npos ? 0 : half)) {
      if (byte == '\xFE') moment += std::chrono::seconds(1);
      direction ^= byte == '\xFF' ? 1 : 0;
      passed[direction] += byte;
      transcript.Add(direction == 0 ? Direction::kToGateway : Direction::kToLogger,
                     std::string(1, byte), moment);
    }
  }
  std::ifstream recorded(file, std::ios::binary);
  recorded.seekg(static_cast<std::streamoff>(earlier.size()));
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
  for (const std::string& line : settings.Lines()) {
    bool any = false;
    for (const std::string& name : Settings::Names()) any = any || settings.Find(line, name);
    Require(any);
  }
}

/// Requests to a gateway and replies to them, some held and some lost; each byte is one step. What
/// is taken for the reply to the last request must be that.
void Attributions(const std::string& input) {
  static const char* const kCodes[] = {"AREG", "EREG", "LCFG"};
  Attribution attribution(0);
  std::deque<std::pair<int, AKReply>> held = {{0, {"LDHD", 0, "another's", false}}};
  int latest = 0;  // number of the request that a reply is waited for
  const auto send = [&](const std::string& code) {
    held.push_back({++latest, {code, 0, code[0] == 'S' ? "SE" : "7", code[0] == 'S'}});
  };
  for (const char byte : input) {
    const auto step = static_cast<unsigned char>(byte);
    if (step % 4 == 0) {
      // As the console does: nothing but a mark is sent while one of its requests is open.
      if (attribution.InDoubt() == Attribution::Doubt::kOwn) {
        send(attribution.Mark());
      } else {
        const std::string code = kCodes[step / 4 % 3];
        attribution.Sent(code, code == "LCFG" ? "" : "7");
        send(code);
      }
    } else if (!held.empty()) {
      const auto [number, reply] = held.front();
      held.pop_front();
      if (step % 4 == 1) continue;  // lost
      const bool taken = attribution.Take(reply) == Attribution::Answers::kLatest;
      Require(taken == (number == latest && number != 0));
    }
  }
}

/// A file that a download continues, with the input as what it held: it keeps its whole lines, and
/// has what is added in its place, once. Or it is refused, and stays as it was.
void ContinuedFiles(const std::string& input) {
  static const Scratch scratch(".rec");
  const std::string& file = scratch.path;
  static const std::string header = "Date,Time,number,note";
  const std::size_t half = std::min(input.find('\0'), input.size());
  const std::string held = input.substr(0, half);
  std::ofstream(file, std::ios::binary) << held;
  std::filesystem::remove(file + ".rejected");
  if (half < input.size()) {
    std::ofstream(file + ".rejected", std::ios::binary) << input.substr(half + 1);
  }
  const std::vector<Record> records = {{"2026-10-25 02:00:00", "2026-10-25,02:00:00,1,\"a\"", ""},
                                       {"2026-10-25 02:05:00", "2026-10-25,02:05:00,2", "why"}};
  std::size_t rejected = 0;
  std::vector<std::string> others;
  try {
    RecordStore store(file, header);
    rejected = store.Rejected().size();
    store.Begin();
    store.Add(store.Missing(records, "2026-10-25", "2026-10-26", others));
  } catch (const Failure&) {
    Require(ReadAll(file) == held);
    return;
  }
  const std::string now = ReadAll(file);
  RecordStore again(file, header);
  Require(again.Rejected().size() <= rejected + 1);
  Require(again.Missing(records, "2026-10-25", "2026-10-26", others).empty());
  again.Begin();
  Require(ReadAll(file) == now && now.size() >= held.rfind('\n') + 1);
}

const std::map<std::string, std::function<void(const std::string&)>> kTargets = {
    {"console_replies", Replies},          {"console_frames", Frames},
    {"console_recordings", Recordings},    {"console_configuration", Configuration},
    {"console_attribution", Attributions}, {"console_records", ContinuedFiles},
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
