#include "views/findings.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <iostream>

#include "line/visible.h"

std::string KindText(Finding::Kind kind) {
  switch (kind) {
    case Finding::Kind::kOk:
      return "ok";
    case Finding::Kind::kLook:
      return "LOOK";
    case Finding::Kind::kFound:
      break;
  }
  return "FOUND";
}

void Findings::Add(Finding::Kind kind, const std::string& topic, const std::string& text) {
  all_.push_back({kind, topic, text});
  if (!show_) return;
  std::string line = KindText(kind);
  line.resize(7, ' ');
  line += topic + " ";
  line.resize(std::max<std::size_t>(line.size(), 18), ' ');
  std::cout << line << Visible(text) << std::endl;
}

bool Findings::AreGood() const {
  return std::all_of(all_.begin(), all_.end(),
                     [](const Finding& finding) { return finding.kind == Finding::Kind::kOk; });
}

std::string AgeText(const std::string& moment, std::int64_t& seconds) {
  std::tm time{};
  time.tm_isdst = -1;
  const char* rest = strptime(moment.c_str(), "%Y-%m-%d %H:%M:%S", &time);
  if (rest == nullptr || (*rest != 0 && *rest != '.')) return "";
  const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  seconds = static_cast<std::int64_t>(std::difftime(now, std::mktime(&time)));
  const std::int64_t past = std::abs(seconds);
  const auto part = [](std::int64_t number, const char* unit) {
    return std::to_string(number) + unit;
  };
  const std::string text = past < 60       ? part(past, " s")
                           : past < 3600   ? part(past / 60, " min")
                           : past < 86400  ? part(past / 3600, " h ") + part(past / 60 % 60, " min")
                           : past < 172800 ? "1 day"
                                           : part(past / 86400, " days");
  return text + (seconds < 0 ? " ahead of this computer's clock" : " ago");
}

std::string BitsText(int status) {
  std::vector<std::string> bits;
  for (unsigned bit = 0; bit < 32; ++bit) {
    if ((static_cast<std::uint32_t>(status) >> bit & 1U) != 0) bits.push_back(std::to_string(bit));
  }
  std::string text = bits.size() == 1 ? "bit " : "bits ";
  for (std::size_t i = 0; i < bits.size(); ++i) {
    text += (i == 0 ? "" : i + 1 == bits.size() ? " and " : ", ") + bits[i];
  }
  return text;
}
