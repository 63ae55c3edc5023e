#include "walk.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

namespace {

using Error = std::runtime_error;

constexpr std::size_t kLongest = 300000;  // characters that 65535 bytes are printed with, and more

constexpr struct {
  const char* label;
  char type;
} kLabels[] = {
    {"INTEGER: ", 'i'},        {"Gauge32: ", 'u'},       {"Unsigned32: ", 'u'},
    {"UInteger32: ", 'u'},     {"Counter32: ", 'c'},     {"Counter64: ", 'C'},
    {"Timeticks: ", 't'},      {"IpAddress: ", 'a'},     {"OID: ", 'o'},
    {"STRING: ", 's'},         {"Hex-STRING: ", 'x'},    {"Opaque: Float: ", 'F'},
    {"Opaque: Double: ", 'D'}, {"Opaque: Int64: ", 'I'}, {"Opaque: UInt64: ", 'U'},
};

/// Takes the text away from the front; false where it is not there.
bool Take(std::string& text, const std::string& front) {
  if (text.compare(0, front.size(), front) != 0) return false;
  text.erase(0, front.size());
  return true;
}

/// Libraries that know the standard modules alone begin the name of any other object so.
std::string Plain(std::string name) {
  return Take(name, "SNMPv2-SMI::enterprises.") ? ".1.3.6.1.4.1." + name : name;
}

/// The number in "5", "5 seconds", "running(5)" or "(5) 0:00:00.05".
std::string WholeNumber(const std::string& text, char type) {
  std::size_t begin = text.find('(');
  begin = begin == std::string::npos || begin > text.find(' ') ? 0 : begin + 1;
  std::size_t end = text.find_first_not_of("-0123456789", begin);
  if (end == std::string::npos) end = text.size();
  const std::string number = text.substr(begin, end - begin);
  const char behind = end < text.size() ? text[end] : ' ';
  if (number.find_first_of("0123456789") == std::string::npos || number.rfind('-') + 1 > 1 ||
      behind != (begin > 0 ? ')' : ' ')) {
    throw Error("no whole number: " + text);
  }
  const double value = std::atof(number.c_str());
  const bool fits = type == 'i'                  ? value >= -2147483648.0 && value <= 2147483647.0
                    : type == 'I'                ? number.size() <= 20
                    : type == 'C' || type == 'U' ? value >= 0 && number.size() <= 20
                                                 : value >= 0 && value <= 4294967295.0;
  if (!fits) throw Error("out of the type's range: " + text);
  return number;
}

std::string RealNumber(const std::string& text) {
  char* end = nullptr;
  std::strtod(text.c_str(), &end);
  if (end == text.c_str() || (*end != '\0' && *end != ' ')) throw Error("no number: " + text);
  return {text.c_str(), static_cast<const char*>(end)};
}

/// Whether there is a float that is printed so.
bool IsFloat(const std::string& number) {
  char printed[64];
  std::snprintf(printed, sizeof printed, "%f",
                static_cast<double>(std::strtof(number.c_str(), nullptr)));
  return number == printed;
}

/// Pairs of digits; -OT shows them as text in brackets besides.
std::string HexDigits(const std::string& text) {
  std::string digits;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text.compare(i, 3, "  [") == 0) {
      i = std::min(text.find('\n', i), text.size());
    } else if (std::isxdigit(static_cast<unsigned char>(text[i])) != 0) {
      digits += text[i];
    } else if (text[i] != ' ' && text[i] != '\n') {
      throw Error("no hexadecimal digits: " + text);
    }
  }
  if (digits.size() % 2 != 0) throw Error("half a byte: " + text);
  return digits;
}

/// Where a text that begins with a quotation mark ends; npos when it is still open.
std::size_t ClosingQuote(const std::string& text) {
  std::size_t at = 1;
  while (at < text.size() && text[at] != '"') at += text[at] == '\\' ? 2 : 1;
  return at < text.size() ? at : std::string::npos;
}

std::string Text(const std::string& printed) {
  if (printed[0] != '"') return printed;
  const std::size_t end = ClosingQuote(printed);
  if (end == std::string::npos) throw Error("the text does not end");
  if (end + 1 != printed.size()) throw Error("more behind a text: " + printed.substr(end + 1));
  std::string text;
  for (std::size_t i = 1; i < end; ++i) text += printed[i] == '\\' ? printed[++i] : printed[i];
  return text;
}

/// Type and value of "TYPE: VALUE".
std::pair<char, std::string> TypeAndValue(std::string text) {
  if (Take(text, "Wrong Type (should be ")) text.erase(0, text.find(": ") + 2);
  if (text.find(' ') == std::string::npos && text.back() == ':') text += ' ';
  if (text == "\"\"") return {'s', ""};
  if (text == "NULL") return {'n', ""};
  for (const auto& [label, type] : kLabels) {
    if (!Take(text, label)) continue;
    if (type == 's') return {type, Text(text)};
    if (type == 'x') return {type, HexDigits(text)};
    if (type == 'a') return {type, text};
    if (type == 'o') return {type, Plain(text)};
    if (type != 'F' && type != 'D') return {type, WholeNumber(text, type)};
    const std::string number = RealNumber(text);
    return {type == 'F' && IsFloat(number) ? 'F' : 'D', number};
  }
  throw Error("no type that is known here (walk with -On, without -Oq): " + text);
}

/// The lines of a file, whose line ends may be CR LF.
class Lines {
 public:
  explicit Lines(std::istream& text) : text_(text) { Advance(); }

  bool More() const { return more_; }
  const std::string& Next() const { return next_; }
  int Number() const { return number_; }

  void Advance() {
    more_ = static_cast<bool>(std::getline(text_, next_));
    if (++number_ == 1) carriageReturns_ = more_ && !next_.empty() && next_.back() == '\r';
    if (carriageReturns_ && !next_.empty() && next_.back() == '\r') next_.pop_back();
  }

  /// Neither an object nor the rest of one.
  bool SaysNothing() const {
    return next_.empty() || next_[0] == '#' || next_ == "End of MIB" ||
           next_.find(" = No more variables") != std::string::npos ||
           next_.find(" = No Such ") != std::string::npos;
  }

  /// Where "NAME = " ends; npos in a line that does not begin so.
  std::size_t EndOfName() const {
    const std::size_t blank = next_.find(' ');
    return blank != 0 && blank != std::string::npos && next_.compare(blank, 3, " = ") == 0
               ? blank
               : std::string::npos;
  }

 private:
  std::istream& text_;
  std::string next_;
  int number_ = 0;
  bool more_ = false;
  bool carriageReturns_ = false;
};

/// The object that begins in the next line: texts and rows of digits go on in those behind it.
Walked TakeObject(Lines& lines) {
  const int line = lines.Number();
  const std::size_t end = lines.EndOfName();
  if (end == std::string::npos) throw Error("no NAME = TYPE: VALUE: " + lines.Next());
  const std::string name = Plain(lines.Next().substr(0, end));
  std::string value = lines.Next().substr(end + 3);
  lines.Advance();
  const std::size_t quote = value.find("STRING: \"") + 8;
  const bool quoted = quote >= 8 && quote < value.size();
  if (value.find("STRING: ") != std::string::npos) {
    while (lines.More() && value.size() < kLongest &&
           (quoted ? ClosingQuote(value.substr(quote)) == std::string::npos
                   : !lines.SaysNothing() && lines.EndOfName() == std::string::npos)) {
      value += "\n" + lines.Next();
      lines.Advance();
    }
  }
  const auto [type, text] = TypeAndValue(value);
  return {name, type, text, line};
}

}  // namespace

std::vector<Walked> ParseWalk(std::istream& text) {
  std::vector<Walked> objects;
  for (Lines lines(text); lines.More();) {
    const int line = lines.Number();
    try {
      if (lines.SaysNothing()) {
        lines.Advance();
      } else {
        objects.push_back(TakeObject(lines));
      }
    } catch (const Error& error) {
      throw Error("line " + std::to_string(line) + ": " + error.what());
    }
  }
  return objects;
}
