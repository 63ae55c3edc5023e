// Bounded text in fixed fields: the one way in which this daemon puts text into a character array.
//
// A field of N bytes holds at most N - 1 characters and is always terminated. What does not fit is
// cut, nothing is written outside the field, and the result says so: callers for whom a cut text
// would be a wrong one test it.
#pragma once

#include <cstdarg>
#include <cstddef>

/// Copies `text` into the field and fills the rest of the field with zero bytes.
/// Returns whether the whole text fitted.
bool CopyText(char* field, std::size_t size, const char* text);

/// Writes the text that `format` gives into the field. Returns whether the whole text fitted.
[[gnu::format(printf, 3, 0)]] bool FormatText(char* field, std::size_t size, const char* format,
                                              std::va_list values);

/// Adds `text` behind the `used` characters that the field holds and advances `used`.
/// Text that does not fit whole is not added at all. Returns whether it was added.
bool AppendText(char* field, std::size_t size, std::size_t& used, const char* text);

template <std::size_t N>
bool CopyText(char (&field)[N], const char* text) {
  return CopyText(field, N, text);
}

template <std::size_t N>
[[gnu::format(printf, 2, 3)]] bool FormatText(char (&field)[N], const char* format, ...) {
  std::va_list values;
  va_start(values, format);
  const bool fits = FormatText(field, N, format, values);
  va_end(values);
  return fits;
}

template <std::size_t N>
bool AppendText(char (&field)[N], std::size_t& used, const char* text) {
  return AppendText(field, N, used, text);
}
