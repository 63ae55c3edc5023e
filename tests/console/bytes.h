// Bytes of the line as a test writes them.
#pragma once

#include <regex>
#include <string>

/// "<STX>", "<ETX>", "<CR>", "<LF>", "<x1B>", and "<9*x>" for xxxxxxxxx, as they stand in a text.
inline std::string BytesOf(std::string text) {
  static const std::regex kName("<(?:(STX)|(ETX)|(CR)|(LF)|x(..)|(\\d+)[*](.))>");
  std::string bytes;
  for (std::smatch found; std::regex_search(text, found, kName); text = found.suffix()) {
    bytes += found.prefix();
    for (std::size_t i = 1; i < 5; ++i) bytes.append(found[i].matched ? 1 : 0, "\0\2\3\r\n"[i]);
    if (found[5].matched) bytes += static_cast<char>(std::stoi(found.str(5), nullptr, 16));
    if (found[6].matched) bytes.append(std::stoul(found.str(6)), found.str(7)[0]);
  }
  return bytes + text;
}
