#include "records/capture.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <map>

namespace {

Moment DayOf(Moment moment) { return moment / kDay - (moment % kDay < 0 ? 1 : 0); }

std::string NameOfDay(Moment day) { return TimeStampOf(day * kDay).substr(0, 10); }

std::int64_t MostFrequentStep(const std::vector<Moment>& moments) {
  std::map<std::int64_t, std::size_t> steps;
  for (std::size_t i = 1; i < moments.size(); ++i) {
    if (moments[i] > moments[i - 1]) ++steps[moments[i] - moments[i - 1]];
  }
  const auto most = std::max_element(
      steps.begin(), steps.end(), [](const auto& a, const auto& b) { return a.second < b.second; });
  return most == steps.end() ? 0 : most->first;
}

/// Records present and missing, by day.
using CountsByDay = std::map<Moment, std::pair<std::int64_t, std::int64_t>>;

Moment NextMonth(Moment day) {
  const std::time_t seconds = static_cast<std::time_t>(day * kDay / kSecond);
  std::tm time{};
  gmtime_r(&seconds, &time);
  time.tm_mday = 1;
  ++time.tm_mon;
  return static_cast<Moment>(timegm(&time)) * kSecond / kDay;
}

/// Counts the records that are missing in a gap, by the days they would have had. Whole days
/// without a record are counted with the first of them in their month.
void CountMissing(const Gap& gap, std::int64_t interval, CountsByDay& days) {
  const auto before = [&](Moment time) {  // missing ones up to this moment
    return std::clamp((time - 1 - gap.from) / interval, std::int64_t{0}, gap.missing);
  };
  const Moment last = DayOf(gap.to);
  for (Moment day = DayOf(gap.from), next = 0; day <= last; day = next) {
    next = day == DayOf(gap.from) ? day + 1 : std::min(last, NextMonth(day));
    if (day == last) next = day + 1;
    days[day].second += (day == last ? gap.missing : before(next * kDay)) - before(day * kDay);
  }
}

}  // namespace

std::optional<Moment> MomentOf(const std::string& timeStamp) {
  std::tm time{};
  int behindDate = 0;
  int behindTime = 0;
  const int read = std::sscanf(timeStamp.c_str(), "%4d-%2d-%2d%n %2d:%2d:%2d%n", &time.tm_year,
                               &time.tm_mon, &time.tm_mday, &behindDate, &time.tm_hour,
                               &time.tm_min, &time.tm_sec, &behindTime);
  if (read != 3 && read != 6) return std::nullopt;
  std::string rest =
      timeStamp.substr(static_cast<std::size_t>(read == 3 ? behindDate : behindTime));
  Moment fraction = 0;
  if (read == 6 && rest.size() > 1 && rest[0] == '.') {
    if (rest.find_first_not_of("0123456789", 1) != std::string::npos) return std::nullopt;
    rest = (rest + "00").substr(1, 3);
    fraction = std::stoi(rest);
    rest.clear();
  }
  // A leap second is the second behind it.
  if (!rest.empty() || time.tm_hour > 23 || time.tm_min > 59 || time.tm_sec > 60) {
    return std::nullopt;
  }
  time.tm_year -= 1900;
  time.tm_mon -= 1;
  const std::tm wanted = time;
  const int second = time.tm_sec;
  time.tm_sec = 0;
  const std::time_t minute = timegm(&time);
  if (time.tm_mday != wanted.tm_mday || time.tm_mon != wanted.tm_mon) return std::nullopt;
  return (static_cast<Moment>(minute) + second) * kSecond + fraction;
}

std::string TimeStampOf(Moment moment) {
  const Moment fraction = (moment % kSecond + kSecond) % kSecond;
  const auto seconds = static_cast<std::time_t>((moment - fraction) / kSecond);
  std::tm time{};
  gmtime_r(&seconds, &time);
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", time.tm_year + 1900,
                time.tm_mon + 1, time.tm_mday, time.tm_hour, time.tm_min, time.tm_sec);
  char part[8] = "";
  if (fraction != 0) std::snprintf(part, sizeof part, ".%03d", static_cast<int>(fraction));
  return std::string(text) + part;
}

Capture::Capture(const std::vector<Moment>& moments) : interval_(MostFrequentStep(moments)) {
  CountsByDay days;
  for (std::size_t i = 0; i < moments.size(); ++i) {
    ++days[DayOf(moments[i])].first;
    const std::int64_t step = i == 0 ? 0 : moments[i] - moments[i - 1];
    if (interval_ == 0 || step <= interval_ + interval_ / 2) continue;
    gaps_.push_back({moments[i - 1], moments[i], (step + interval_ / 2) / interval_ - 1});
    CountMissing(gaps_.back(), interval_, days);
  }
  for (auto day = days.begin(); day != days.end(); ++day) {
    const auto [present, missing] = day->second;
    if (present + missing == 0) continue;
    const std::string name = NameOfDay(day->first);
    days_.push_back(
        {name, present == 0 ? NameOfDay(std::next(day)->first - 1) : name, present, missing});
    const std::string month = name.substr(0, 7);
    if (months_.empty() || months_.back().from != month) months_.push_back({month, month, 0, 0});
    months_.back().present += present;
    months_.back().missing += missing;
  }
}

Share Capture::All() const {
  Share all{"", "", 0, 0};
  for (const Share& day : days_) {
    all.present += day.present;
    all.missing += day.missing;
  }
  return all;
}
