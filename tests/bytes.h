// Bytes of the line as a test writes them.
#pragma once

#include <map>
#include <string>

/// The bytes of a text with <STX>, <ETX>, <CR>, <LF> and <xNN>; <9*x> stands for xxxxxxxxx.
inline std::string Bytes(const std::string& visible) {
  static const std::map<std::string, char> kNames = {
      {"STX", '\x02'}, {"ETX", '\x03'}, {"CR", '\r'}, {"LF", '\n'}};
  std::string bytes;
  for (std::size_t i = 0; i < visible.size(); ++i) {
    const std::size_t end = visible[i] == '<' ? visible.find('>', i) : std::string::npos;
    const std::string name = end == std::string::npos ? "" : visible.substr(i + 1, end - i - 1);
    const auto named = kNames.find(name);
    if (named != kNames.end()) {
      bytes += named->second;
    } else if (name.size() == 3 && name[0] == 'x') {
      bytes += static_cast<char>(std::stoi(name.substr(1), nullptr, 16));
    } else if (name.size() > 2 && name[name.size() - 2] == '*') {
      bytes.append(std::stoul(name), name.back());
    } else {
      bytes += visible[i];
      continue;
    }
    i = end;
  }
  return bytes;
}
