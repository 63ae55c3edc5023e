#include "records/record.h"

#include <algorithm>

#include "line/shape.h"

namespace {

/// Reads the quoted field that begins at this place. Returns the place behind it, or npos when
/// there is none that ends in front of a comma or at the end of the line.
std::size_t ReadQuoted(const std::string& line, std::size_t at, std::string& field) {
  if (at == line.size() || line[at] != '"') return std::string::npos;
  for (++at; at < line.size(); ++at) {
    const bool quote = line[at] == '"';
    const char next = at + 1 < line.size() ? line[at + 1] : ',';
    if (quote && next == ',') return at + 1;
    if (quote && next != '"') return std::string::npos;
    field += line[at];
    if (quote) ++at;
  }
  return std::string::npos;
}

std::string Quoted(const std::string& text) {
  if (text.find_first_of("\",\r\n") == std::string::npos) return text;
  std::string quoted = "\"";
  for (const char byte : text) quoted.append(byte == '"' ? 2 : 1, byte);
  return quoted + "\"";
}

/// Whether there are two digits at this place that make a number of at most this.
bool AtMost(const std::string& text, std::size_t at, int greatest) {
  return (text[at] - '0') * 10 + text[at + 1] - '0' <= greatest;
}

bool IsDate(const std::string& text) {
  return HasShape(text, "0000-00-00") && AtMost(text, 5, 12) && AtMost(text, 8, 31);
}

/// A minute may have a leap second.
bool IsTime(const std::string& text) {
  const std::string fraction = text.substr(std::min<std::size_t>(text.size(), 8));
  return HasShape(text.substr(0, 8), "00:00:00") && AtMost(text, 0, 23) && AtMost(text, 3, 59) &&
         AtMost(text, 6, 60) &&
         (fraction.empty() ||
          (fraction.size() > 1 && HasShape(fraction, "." + std::string(fraction.size() - 1, '0'))));
}

}  // namespace

FieldTexts SplitSent(const std::string& sent) {
  FieldTexts fields;
  std::size_t begin = 0;
  for (std::size_t comma = 0; (comma = sent.find(',', begin)) != std::string::npos;) {
    fields.push_back(sent.substr(begin, comma - begin));
    begin = comma + 1;
  }
  fields.push_back(sent.substr(begin));
  return fields;
}

FieldTexts SplitLine(const std::string& line) {
  FieldTexts fields;
  for (std::size_t at = 0; at <= line.size();) {
    std::string field;
    std::size_t end = ReadQuoted(line, at, field);
    if (end == std::string::npos) {
      end = std::min(line.find(',', at), line.size());
      field = line.substr(at, end - at);
    }
    fields.push_back(field);
    at = end + 1;
  }
  return fields;
}

std::string JoinLine(const FieldTexts& fields) {
  std::string line;
  for (std::size_t i = 0; i < fields.size(); ++i) line += (i == 0 ? "" : ",") + Quoted(fields[i]);
  return line;
}

std::string LineOf(const std::string& sent, const FieldTexts& names) {
  FieldTexts fields = SplitSent(sent);
  if (names.size() == 3 && fields.size() > 3) {
    const std::size_t dateAndTime = fields[0].size() + fields[1].size() + 2;
    fields = {fields[0], fields[1], sent.substr(dateAndTime)};
  }
  return fields.size() > names.size() ? sent : JoinLine(fields);
}

std::string TimeStamp(const std::string& record) {
  const std::size_t date = record.find(',');
  if (date == std::string::npos) return record;
  const std::string time = record.substr(date + 1, record.find(',', date + 1) - date - 1);
  return record.substr(0, date) + (time.empty() ? "" : " " + time);
}

std::string FlawOf(const FieldTexts& fields, const FieldTexts& names) {
  const bool alone = fields.size() == 1 && names.size() == 3 && names[2].empty();
  const std::string date = fields[0].substr(0, 10);
  const std::string time = alone && fields[0].size() > 11 ? fields[0].substr(11)
                           : fields.size() > 1            ? fields[1]
                                                          : "";
  if (!IsDate(date) || (!alone && date != fields[0])) return "no date";
  if (!time.empty() && !IsTime(time)) return "no time";
  for (const std::string& field : fields) {
    if (field.find_first_of("\r\n") != std::string::npos) return "a line end in a text";
  }
  return fields.size() < names.size() && !alone ? "fewer fields than names" : "";
}
