#include "logger/md_frame.h"

#include <cstdio>
#include <cstdlib>
#include <iterator>

#include "gnp/check_value.h"
#include "gnp/status_codes.h"
#include "line/failure.h"
#include "line/shape.h"
#include "line/visible.h"

namespace {

constexpr std::size_t kBlockSize = 30;

MDBlock ParseBlock(const std::string& text) {
  // Component, location and register number are cut texts where the instrument's numbers are odd.
  if (!HasShape(text, "xxx +0000+00 FF FF xxx xxx    ")) {
    throw Failure(kBroken, "No value block: " + VisibleStart(text));
  }
  MDBlock block;
  block.component = text.substr(0, 3);
  block.value = text.substr(4, 8);
  block.operatingStatus = static_cast<int>(std::strtol(text.substr(13, 2).c_str(), nullptr, 16));
  block.errorStatus = static_cast<unsigned>(std::strtoul(text.substr(16, 2).c_str(), nullptr, 16));
  block.location = text.substr(19, 3);
  block.registerNumber = text.substr(23, 3);
  return block;
}

}  // namespace

std::string CheckValueOf(const std::string& frame) {
  char text[3];
  WriteCheckValue(frame.data(), static_cast<int>(frame.size()), text);
  return text;
}

std::vector<MDBlock> ParseMDText(const std::string& text) {
  const long count =
      text.compare(0, 2, "MD") == 0 ? std::strtol(text.substr(2, 2).c_str(), nullptr, 10) : 0;
  if (count < 1 || count > 3 || text.size() != 5 + static_cast<std::size_t>(count) * kBlockSize) {
    throw Failure(kBroken, "No MD frame: " + VisibleStart(text));
  }
  std::vector<MDBlock> blocks;
  for (std::size_t at = 5; at < text.size(); at += kBlockSize) {
    blocks.push_back(ParseBlock(text.substr(at, kBlockSize)));
  }
  return blocks;
}

std::string MDBlock::Decimal() const {
  const double number = std::strtod((value.substr(0, 5) + "e" + value.substr(5)).c_str(), nullptr);
  char text[128];  // room for 9999e99
  const long exponent = std::strtol(value.c_str() + 5, nullptr, 10);
  std::snprintf(text, sizeof text, "%.*f", static_cast<int>(exponent < 0 ? -exponent : 0), number);
  return text;
}

std::string MDBlock::OperatingMode() const {
  const int last = static_cast<int>(std::size(kOperatingStatusCodes)) - 1;
  for (int mode = 0; mode <= last; ++mode) {
    if (kOperatingStatusCodes[mode] != operatingStatus) continue;
    return "mode " + std::to_string(mode) + (mode == last ? " or an unknown one" : "");
  }
  return "unknown";
}

std::vector<std::string> MDBlock::Errors() const {
  std::vector<std::string> errors;
  for (unsigned bit = 0; bit < std::size(kErrorStatusMasks); ++bit) {
    if ((errorStatus >> bit & 1U) == 0) continue;
    std::string conditions;
    std::uint32_t rest = kErrorStatusMasks[bit];
    for (unsigned condition = 0; rest != 0; ++condition, rest >>= 1) {
      if ((rest & 1U) == 0) continue;
      conditions += (conditions.empty() ? ""
                     : rest == 1        ? " or "
                                        : ", ") +
                    std::to_string(condition);
    }
    errors.push_back("error bit " + std::to_string(bit) + ": status condition bit " + conditions);
  }
  return errors;
}
