#include "logger/register_words.h"

#include <fnmatch.h>
#include <strings.h>

#include <algorithm>
#include <cctype>
#include <charconv>

#include "line/failure.h"

namespace {

constexpr char kDigits[] = "0123456789";
constexpr char kInstance[] = ".0";

/// Registers of a range that are read one after the other; more are a mistake.
constexpr int kLongestRange = 10000;

[[noreturn]] void NoSuch(const std::string& word) {
  throw Failure(kUsage, "There is no register " + word + ".");
}

int ParseNumber(const std::string& digits, const std::string& word) {
  int number = 0;
  const char* last = digits.data() + digits.size();
  const auto [end, error] = std::from_chars(digits.data(), last, number);
  // No register has a number of more than nine digits.
  if (error != std::errc() || end != last || digits.size() > 9) NoSuch(word);
  return number;
}

}  // namespace

bool ParseNumbers(const std::string& word, std::pair<int, int>& range) {
  const std::size_t dash = word.find('-', 1);
  const std::string first = word.substr(0, dash);
  const std::string last = dash == std::string::npos ? first : word.substr(dash + 1);
  if ((first + last).find_first_not_of(kDigits) != std::string::npos) return false;
  range = {ParseNumber(first, word), ParseNumber(last, word)};
  if (range.second < range.first || range.second - range.first >= kLongestRange) {
    throw Failure(kUsage, "No range of registers: " + word + ".");
  }
  return true;
}

bool IsPattern(const std::string& word) { return word.find_first_of("*?") != std::string::npos; }

std::vector<std::size_t> PlacesOf(const std::string& word, const std::vector<std::string>& names) {
  std::vector<std::size_t> places;
  const auto fits = [&](const std::string& wanted, const std::string& name) {
    return IsPattern(word) ? fnmatch(wanted.c_str(), name.c_str(), FNM_CASEFOLD) == 0
                           : strcasecmp(wanted.c_str(), name.c_str()) == 0;
  };
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (fits(word, names[i]) || fits(word + kInstance, names[i])) places.push_back(i);
  }
  return places;
}

bool Holds(const std::string& text, const std::string& part) {
  const auto same = [](char a, char b) {
    return std::tolower(static_cast<unsigned char>(a)) ==
           std::tolower(static_cast<unsigned char>(b));
  };
  return part.empty() ||
         std::search(text.begin(), text.end(), part.begin(), part.end(), same) != text.end();
}
