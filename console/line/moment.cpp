#include "line/moment.h"

#include <cstdio>
#include <ctime>

namespace {

using Clock = std::chrono::system_clock;

std::string Formatted(std::time_t second, const char* format) {
  std::tm time{};
  localtime_r(&second, &time);
  char text[64];
  return std::string(text, std::strftime(text, sizeof text, format, &time));
}

/// The moment's second and its decimals with their point.
std::time_t Split(Clock::time_point moment, int decimals, std::string& fraction) {
  const auto second = std::chrono::floor<std::chrono::seconds>(moment);
  const auto rest = std::chrono::duration_cast<std::chrono::microseconds>(moment - second);
  char text[32];
  std::snprintf(text, sizeof text, ".%06d", static_cast<int>(rest.count()));
  if (decimals > 0) fraction.assign(text, static_cast<std::size_t>(decimals) + 1);
  return Clock::to_time_t(second);
}

}  // namespace

std::string MomentText(Clock::time_point moment, int decimals) {
  std::string fraction;
  const std::time_t second = Split(moment, decimals, fraction);
  return Formatted(second, "%Y-%m-%dT%H:%M:%S") + fraction + Formatted(second, "%z");
}

std::string TimeOfDay(Clock::time_point moment, int decimals) {
  std::string fraction;
  const std::time_t second = Split(moment, decimals, fraction);
  return Formatted(second, "%H:%M:%S") + fraction;
}
