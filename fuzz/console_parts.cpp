#include "console_parts.h"

#include <unistd.h>

#include <deque>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <utility>
#include <vector>

#include "line/failure.h"
#include "logger/attribution.h"
#include "logger/register_words.h"
#include "records/record_store.h"
#include "views/course.h"
#include "views/watch_file.h"

namespace {

std::string ReadAll(const std::string& path) {
  std::stringstream kept;
  kept << std::ifstream(path, std::ios::binary).rdbuf();
  return kept.str();
}

}  // namespace

void RegisterWords(const std::string& input) {
  const std::size_t end = std::min(input.find('\0'), input.size());
  const std::string word = input.substr(0, end);
  std::vector<std::string> names;
  std::istringstream rest(input.substr(std::min(end + 1, input.size())));
  for (std::string name; std::getline(rest, name, ' ');) names.push_back(name);
  for (const std::size_t place : PlacesOf(word, names)) {
    Require(place < names.size());
    Require(IsPattern(word) || Holds(names[place], word));
  }
  std::pair<int, int> range;
  try {
    if (ParseNumbers(word, range)) Require(range.first >= 0 && range.first <= range.second);
  } catch (const Failure& failure) {
    Require(failure.status == kUsage);
  }
}

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

void Watches(const std::string& input) {
  static const Scratch scratch(".csv");
  const std::string& file = scratch.path;
  std::vector<Course> courses;
  std::istringstream values(input);
  for (std::string value; courses.size() < 50 && std::getline(values, value);) {
    courses.emplace_back(Register{1, "qmxName.0", "1"});
    for (const char part : value) courses.back().Add(std::string(1, part));
    courses.back().Add(value);
  }
  for (const std::size_t size : {0U, 1U, 20U, 80U}) {
    const auto table = CourseTable(courses, size, size);
    Require(table.size() <= std::max<std::size_t>(size, 3));
  }

  // A file that is not of this watch stays as it was; any other one keeps its whole lines.
  std::ofstream(file, std::ios::binary) << input;
  const std::vector<Course> one = {Course({7, "", "7"})};
  try {
    WatchFile(file, one).Add("now", one);
    const std::size_t whole = input.rfind('\n') + 1;
    const std::string header = whole == 0 ? "time,7\n" : "";
    Require(ReadAll(file) == input.substr(0, whole) + header + "now,\n");
  } catch (const Failure&) {
    Require(ReadAll(file) == input);
  }
}
