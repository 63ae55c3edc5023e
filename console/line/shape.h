// What a text must look like.
#pragma once

#include <cctype>
#include <string>

/// Whether the text is as long as the shape and has, place by place, where the shape has
///   0 a decimal digit, F a hexadecimal one, + a sign, x any printable byte,
/// and anything else as it stands.
inline bool HasShape(const std::string& text, const std::string& shape) {
  if (text.size() != shape.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const bool fits = shape[i] == '0'   ? std::isdigit(byte) != 0
                      : shape[i] == 'F' ? std::isxdigit(byte) != 0
                      : shape[i] == '+' ? byte == '+' || byte == '-'
                      : shape[i] == 'x' ? std::isprint(byte) != 0
                                        : text[i] == shape[i];
    if (!fits) return false;
  }
  return true;
}
