#include <cstdlib>
#include <cstring>

#include "core/gateway.h"

void CGateway::FormatMantissaExponent(float number, char* text) {
  if (text == nullptr) return;
  char decimal[105] = {};
  FormatText(decimal, "%.6f", static_cast<double>(number));
  const bool negative = decimal[0] == '-';
  const char* units = std::strchr(decimal, '.');  // null for what is no finite number
  const char* digit = std::strpbrk(decimal, "123456789");
  if (units == nullptr || digit == nullptr) {
    CopyText(text, 9, "+0000+00");
    return;
  }
  // The place of the first significant digit is its power of ten, that of the last one of four is
  // the exponent.
  auto exponent = static_cast<int>(digit < units ? units - digit - 1 : units - digit) - 3;
  int mantissa = 0;
  for (int taken = 0; taken < 4; ++taken) {
    if (*digit == '.') ++digit;
    mantissa = 10 * mantissa + (*digit == 0 ? 0 : *digit++ - '0');
  }
  while (mantissa % 10 == 0) {
    mantissa /= 10;
    ++exponent;
  }
  char digits[16];
  FormatText(digits, "%c%04d%c%02d", negative ? '-' : '+', mantissa, exponent < 0 ? '-' : '+',
             std::abs(exponent));
  CopyText(text, 9, digits);
}
