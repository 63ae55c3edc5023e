// What of the console is fuzzed, by name: FUZZ_TARGET names one, and the folder of its seeds.
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>

#include "console_parts.h"
#include "line/failure.h"
#include "line/line.h"
#include "logger/frames.h"
#include "logger/logger.h"
#include "logger/register_numbers.h"
#include "settings.h"
#include "views/frame_text.h"

namespace {

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

void Ask(Logger& logger, RegisterNumbers& numbers, int what) {
  switch (what) {
    case 0: {
      const AKReply reply = logger.Ask("LCFG");
      Require(reply.code == "LCFG" || reply.refused);
      break;
    }
    case 1:
      logger.ReadRegister(7);
      break;
    case 2:
      logger.WriteRegister(7, "5");
      break;
    case 3:
      logger.ListRegisters();
      break;
    case 4:
      Require(logger.NextRecords(3).lines.size() <= 3);
      break;
    case 5:
      logger.Header();
      break;
    case 6:
      logger.Data();
      break;
    case 7:
      logger.Raw("DA", true);
      break;
    case 8:
      numbers.Forget();
      for (const Register& one : numbers.Find({"qmx*"})) Require(one.number > 0);
      break;
    default:
      logger.Ask("SSTO", "B");
  }
}

/// The first bytes tell what is asked for, ten kinds of requests; the others come over the line.
void Replies(const std::string& input) {
  const std::size_t count = std::min<std::size_t>(input.size(), 4);
  const std::string bytes = input.substr(count);
  FuzzLine line(bytes);
  Logger logger(line, {}, std::chrono::milliseconds(0));
  RegisterNumbers numbers(logger);
  for (std::size_t i = 0; i < count; ++i) {
    try {
      Ask(logger, numbers, static_cast<unsigned char>(input[i]) % 10);
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

/// The bytes that a recorded text stands for.
std::string Played(const std::string& text) {
  static const std::map<std::string, char> kNames = {
      {"STX", '\x02'}, {"ETX", '\x03'}, {"CR", '\r'}, {"LF", '\n'}};
  std::string bytes;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] != '<') {
      bytes += text[at];
      continue;
    }
    const std::size_t end = text.find('>', at);
    const std::string name = text.substr(at + 1, end - at - 1);
    const auto known = kNames.find(name);
    bytes += known != kNames.end() ? known->second
                                   : static_cast<char>(std::stoi(name.substr(1), nullptr, 16));
    at = end;
  }
  return bytes;
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
      std::stringstream kept;
      kept << std::ifstream(file, std::ios::binary).rdbuf();
      Require(kept.str() == earlier);
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
    played[line[32] == '>' ? 0 : 1] += Played(line.substr(34));
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
