#include "records/pace.h"

#include <algorithm>

void Pace::Took(long records) {
  // An interrupt is obeyed within 5 s: what has come is written, and the pointer put back.
  constexpr double kSeconds = 4.4;
  constexpr long kMost = 10000;
  if (fixed_ > 0 || records == 0) return;
  const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - start_;
  const double fitting = static_cast<double>(records) * kSeconds / std::max(spent.count(), 1e-3);
  records_ = std::clamp(static_cast<long>(std::min(fitting, 4.0 * static_cast<double>(records_))),
                        2L, kMost);
}
