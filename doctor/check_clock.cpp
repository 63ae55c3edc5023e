#include <ctime>
#include <filesystem>

#include "doctor/checks.h"
#include "doctor/command.h"
#include "doctor/pages.h"

namespace {

std::string Zone() {
  std::error_code error;
  const std::string file = std::filesystem::canonical("/etc/localtime", error);
  const std::size_t begin = file.find("/zoneinfo/");
  return begin == std::string::npos ? "UTC" : file.substr(begin + 10);
}

/// The first hour of the coming year with another distance to UTC than the one before; 0 when there
/// is none.
std::time_t NextChange() {
  constexpr std::time_t kHour = 3600;
  const std::time_t now = std::time(nullptr) / kHour * kHour;
  std::tm local{};
  localtime_r(&now, &local);
  const long offset = local.tm_gmtoff;
  for (std::time_t hour = now; hour < now + 366L * 24 * kHour; hour += kHour) {
    localtime_r(&hour, &local);
    if (local.tm_gmtoff != offset) return hour;
  }
  return 0;
}

}  // namespace

void CheckClock(const Unit& unit, Report& report) {
  std::string text = "time zone " + Zone();
  const std::time_t change = NextChange();
  if (change != 0) {
    char date[32];
    std::tm local{};
    std::strftime(date, sizeof date, "%Y-%m-%d %H:%M", localtime_r(&change, &local));
    text += Text(", changes at %s", date);
  }
  const bool synchronised =
      Run({"timedatectl", "show", "-p", "NTP", "--value"}).output.compare(0, 3, "yes") == 0;
  if (synchronised) text += "; time synchronisation is on, what SF26 sets will not last";
  constexpr std::time_t kSoon = 14L * 24 * 3600;
  if (change != 0 && change < std::time(nullptr) + kSoon) {
    report.Look(
        "clock", text + ": records of local time then overlap, or leave a gap",
        "timedatectl set-timezone Etc/GMT-1  # standard time all year, here of Central Europe",
        kClockPage);
  } else if (!unit.properties.empty() &&
             unit.Property("AmbientCapabilities").find("cap_sys_time") == std::string::npos) {
    report.Look(
        "clock", text + "; the unit may not set the clock: SF26 is refused",
        "systemctl edit " + InShell(unit.name) + "  # [Service] AmbientCapabilities=CAP_SYS_TIME",
        kClockPage);
  } else {
    report.Ok("clock", text);
  }
}
