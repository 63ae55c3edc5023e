#include "records/crowds.h"

#include "records/capture.h"

std::vector<Crowd> Crowds(const Held& held, long begin, long end) {
  constexpr std::size_t kMost = 8;
  std::vector<Moment> moments;
  for (long i = begin; i < end; ++i) moments.push_back(MomentOf(held.Stamp(i)).value_or(0));
  const Moment usual = Capture(moments).Interval();
  const bool single = 2 * (held.Before(end) - held.Before(begin)) < 3 * (end - begin);
  std::vector<Crowd> crowds;
  bool ofSeveral = false;  // whether the last crowd is of several records
  for (long i = begin; i < end; ++i) {
    const auto at = static_cast<std::size_t>(i - begin);
    const bool several = single && held.Before(i + 1) - held.Before(i) > 1;
    const bool close = i > begin && moments[at] - moments[at - 1] < usual;
    if (!several && !close) continue;
    // Of a record taken twice the end is looked at also where all stand close.
    if (crowds.empty() || crowds.back().end + 1 < i || several != ofSeveral) {
      crowds.push_back({i, i});
    }
    crowds.back().end = i + 1;
    ofSeveral = several;
  }
  std::vector<Crowd> some;
  for (std::size_t i = 0; i < crowds.size() && i < kMost; ++i) {
    some.push_back(crowds[crowds.size() <= kMost ? i : i * crowds.size() / kMost]);
  }
  return some;
}
