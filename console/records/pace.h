// How many records to ask for at a time.
#pragma once

#include <chrono>

/// As many as come within the time in which an interrupt is obeyed, so that what a request costs
/// besides is small; or a number that was given.
class Pace {
 public:
  explicit Pace(long fixed) : fixed_(fixed), records_(fixed > 0 ? fixed : kFirst) {}

  long Records() const { return records_; }

  /// To be called before records are asked for, and when they have come.
  void Start() { start_ = std::chrono::steady_clock::now(); }
  void Took(long records);

 private:
  static constexpr long kFirst = 40;
  long fixed_;
  long records_;
  std::chrono::steady_clock::time_point start_;
};
