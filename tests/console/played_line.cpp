#include "played_line.h"

#include <fcntl.h>

#include <algorithm>
#include <ctime>

#include "line/failure.h"

using std::chrono::milliseconds;

std::chrono::steady_clock::time_point std::chrono::steady_clock::now() noexcept {
  return time_point(PlayedClock::now);
}
std::chrono::system_clock::time_point std::chrono::system_clock::now() noexcept {
  return time_point(PlayedClock::now);
}
extern "C" int nanosleep(const timespec* time, timespec* /*left*/) {
  PlayedClock::now += milliseconds(time->tv_sec * 1000 + time->tv_nsec / 1000000);
  return 0;
}

PlayedLine::PlayedLine(milliseconds begin, milliseconds pace)
    : pace_(pace), end_(begin + std::chrono::hours(1)) {
  PlayedClock::now = begin;
}

int PlayedLine::ToPoll() const {
  static const int always = open("/dev/null", O_RDONLY);
  return always;
}

milliseconds PlayedLine::Last() const {
  return coming_.empty() ? PlayedClock::now : coming_.back().first;
}

void PlayedLine::Comes(const std::string& bytes, milliseconds moment) {
  if (!coming_.empty()) moment = std::max(moment, Last() + pace_);
  for (const char byte : bytes) {
    coming_.emplace_back(moment, byte);
    moment += pace_;
  }
}

bool PlayedLine::Read(char& byte, milliseconds wait) {
  if (PlayedClock::now > end_) throw Failure(kNoDevice, "Nothing ends it.");
  if (coming_.empty() || coming_.front().first > PlayedClock::now + wait) {
    PlayedClock::now += std::max(wait, pace_);
    return false;
  }
  PlayedClock::now = std::max(PlayedClock::now, coming_.front().first);
  byte = coming_.front().second;
  coming_.pop_front();
  return true;
}
