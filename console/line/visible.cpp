#include "line/visible.h"

#include <cstdio>

#include "serial/control_bytes.h"

std::string Visible(const std::string& bytes) {
  std::string visible;
  for (const char byte : bytes) {
    const auto code = static_cast<unsigned char>(byte);
    if (byte == kSTX) {
      visible += "<STX>";
    } else if (byte == kETX) {
      visible += "<ETX>";
    } else if (byte == kCR) {
      visible += "<CR>";
    } else if (byte == kLF) {
      visible += "<LF>";
    } else if (code < 0x20 || code >= 0x7F) {
      char text[8];
      std::snprintf(text, sizeof text, "<x%02X>", code);
      visible += text;
    } else {
      visible += byte;
    }
  }
  return visible;
}

std::string VisibleStart(const std::string& bytes, std::size_t shown) {
  return Visible(bytes.substr(0, shown)) + (bytes.size() > shown ? "..." : "");
}
