#include "records/span.h"

#include <cerrno>
#include <charconv>
#include <ctime>

std::optional<Span> SpanOf(const std::string& text) {
  struct {
    const char* format;
    int std::tm::*unit;
  } const kinds[] = {{"%Y-%m", &std::tm::tm_mon},
                     {"%Y-%m-%d", &std::tm::tm_mday},
                     {"%Y-%m-%d %H:%M", &std::tm::tm_min},
                     {"%Y-%m-%d %H:%M:%S", &std::tm::tm_sec}};
  for (const auto& [format, unit] : kinds) {
    std::tm begin{};
    begin.tm_mday = 1;
    const char* rest = strptime(text.c_str(), format, &begin);
    if (rest == nullptr || *rest != 0) continue;
    std::tm end = begin;
    ++(end.*unit);
    const int day = begin.tm_mday;
    errno = 0;
    const Span span{timegm(&begin) * kSecond, timegm(&end) * kSecond};
    if (errno == EOVERFLOW || begin.tm_mday != day) return std::nullopt;
    return span;
  }
  return std::nullopt;
}

std::optional<Moment> BackOf(const std::string& text) {
  if (text.size() < 3 || text[0] != '-') return std::nullopt;
  const char unit = text.back();
  const Moment size = unit == 'd'   ? kDay
                      : unit == 'h' ? kDay / 24
                      : unit == 'm' ? kDay / 24 / 60
                                    : 0;
  int number = 0;
  const char* end = text.data() + text.size() - 1;
  const auto [rest, error] = std::from_chars(text.data() + 1, end, number);
  if (size == 0 || rest != end || error != std::errc() || number < 1) return std::nullopt;
  return number * size;
}

std::string StampFrom(Moment moment) {
  return TimeStampOf(moment).substr(0, moment % kDay == 0 ? 10 : std::string::npos);
}
