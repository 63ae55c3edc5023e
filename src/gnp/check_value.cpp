#include "gnp/check_value.h"

#include "base/text.h"

std::int16_t CheckValue(const char* bytes, int count) {
  int value = 0;
  for (int i = 0; i < count; ++i) value ^= static_cast<signed char>(bytes[i]);
  return static_cast<std::int16_t>(value);
}

void WriteCheckValue(const char* bytes, int count, char (&text)[3]) {
  // Negative with its sign over all of an integer: eight digits, of which the first two count.
  char digits[9];
  FormatText(digits, "%.2X", static_cast<unsigned>(CheckValue(bytes, count)));
  CopyText(text, digits);
}
