#include "base/text.h"

#include <cstdio>
#include <cstring>

bool CopyText(char* field, std::size_t size, const char* text) {
  const std::size_t length = strnlen(text, size);
  const bool fits = length < size;
  const std::size_t copied = fits ? length : size - 1;
  // The text may be the field itself, or a part of it.
  std::memmove(field, text, copied);
  std::memset(field + copied, 0, size - copied);
  return fits;
}

bool FormatText(char* field, std::size_t size, const char* format, std::va_list values) {
  const int length = std::vsnprintf(field, size, format, values);
  return length >= 0 && static_cast<std::size_t>(length) < size;
}

bool AppendText(char* field, std::size_t size, std::size_t& used, const char* text) {
  const std::size_t length = std::strlen(text);
  if (length >= size - used) return false;
  std::memcpy(field + used, text, length + 1);
  used += length;
  return true;
}
