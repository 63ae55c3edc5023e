// Decimal numbers in request texts.
#pragma once

#include <cstdint>

/// What stood at the place where a number was expected.
enum class Number {
  kRead,     ///< a number; `value` holds it
  kAbsent,   ///< no digit; `value` is unchanged
  kTooLarge  ///< a number outside 32 bits; `value` holds the limit that it passed
};

/// Reads a signed 32-bit number from the start of `text`, as the format "%d" reads one: leading
/// white space and a sign are accepted, reading stops at the first byte that is not a digit.
/// `end` (may be null) is set to the first byte behind the number.
Number ReadNumber(const char* text, std::int32_t& value, const char** end = nullptr);
