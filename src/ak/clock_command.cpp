#include "ak/clock_command.h"

#include <cstring>
#include <initializer_list>

#include "base/text.h"

namespace {

bool IsNumber(const char* text) {
  return text != nullptr && *text != 0 && text[std::strspn(text, "0123456789")] == 0;
}

}  // namespace

bool MakeClockCommand(char* time, char (&command)[kClockCommandSize]) {
  std::size_t length = std::strlen(time);
  while (length > 0 && std::strchr(" \t\r\n\v\f", time[length - 1]) != nullptr) time[--length] = 0;

  char* rest = nullptr;
  const char* year = strtok_r(time, "-", &rest);
  const char* month = strtok_r(nullptr, "-", &rest);
  const char* day = strtok_r(nullptr, " ", &rest);
  const char* hour = strtok_r(nullptr, ":", &rest);
  const char* minute = strtok_r(nullptr, ":", &rest);
  const char* second = strtok_r(nullptr, "", &rest);
  for (const char* part : {year, month, day, hour, minute}) {
    if (!IsNumber(part)) return false;
  }
  if (second == nullptr) {
    return FormatText(command, "date %s%s%s%s%s", month, day, hour, minute, year);
  }
  return IsNumber(second) &&
         FormatText(command, "date %s%s%s%s%s.%s", month, day, hour, minute, year, second);
}
