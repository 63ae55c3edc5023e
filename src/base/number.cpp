#include "base/number.h"

#include <cstdlib>
#include <limits>

Number ReadNumber(const char* text, std::int32_t& value, const char** end) {
  constexpr long long kLowest = std::numeric_limits<std::int32_t>::min();
  constexpr long long kHighest = std::numeric_limits<std::int32_t>::max();
  char* stop = nullptr;
  // What passes 64 bits is held at their limits, which lie outside 32 bits too.
  const long long number = std::strtoll(text, &stop, 10);
  if (end != nullptr) *end = stop;
  if (stop == text) return Number::kAbsent;
  value = static_cast<std::int32_t>(number < kLowest    ? kLowest
                                    : number > kHighest ? kHighest
                                                        : number);
  return value == number ? Number::kRead : Number::kTooLarge;
}
