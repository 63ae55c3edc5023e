#include "records/figures.h"

#include <cstdio>

std::string Grouped(std::int64_t number) {
  std::string text = std::to_string(number);
  for (std::size_t i = text.size(); i > 3 && text[i - 4] != '-';) text.insert(i -= 3, ",");
  return text;
}

std::string RecordsText(std::int64_t number) {
  return Grouped(number) + (number == 1 ? " record" : " records");
}

std::string PercentText(const Share& share) {
  const std::int64_t tenths = share.present * 1000 / (share.present + share.missing);
  return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " %";
}

std::string DurationText(Moment duration) {
  if (duration % kSecond != 0) {
    char text[40];
    std::snprintf(text, sizeof text, "%.10g s", static_cast<double>(duration) / kSecond);
    return text;
  }
  const std::int64_t seconds = duration / kSecond;
  if (seconds < 60 || (seconds < 3600 && seconds % 60 != 0)) return std::to_string(seconds) + " s";
  const std::int64_t minutes = seconds / 60;
  if (minutes < 60) return std::to_string(minutes) + " min";
  const std::int64_t hours = minutes / 60;
  const auto with = [](const std::string& whole, std::int64_t part, const char* unit) {
    return part == 0 ? whole : whole + " " + std::to_string(part) + unit;
  };
  if (hours < 48) return with(std::to_string(hours) + " h", minutes % 60, " min");
  return with(std::to_string(hours / 24) + " d", hours % 24, " h");
}
