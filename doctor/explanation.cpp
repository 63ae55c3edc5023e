#include "doctor/explanation.h"

#include <sstream>
#include <utility>
#include <vector>

#include "man_page.h"

namespace {

struct Paragraph {
  std::vector<std::string> heads;  ///< the messages, each up to its first "..."
  std::string text;
};

std::vector<std::string> QuotedIn(const std::string& line) {
  std::vector<std::string> texts;
  for (std::size_t begin = line.find('"'); begin != std::string::npos;) {
    const std::size_t end = line.find('"', begin + 1);
    if (end == std::string::npos) break;
    texts.push_back(line.substr(begin + 1, end - begin - 1));
    begin = line.find('"', end + 1);
  }
  return texts;
}

/// A line of the page without its macros.
std::string Plain(const std::string& line) {
  if (line[0] != '.') return line;
  std::istringstream words(line);
  std::string word;
  std::string plain;
  words >> word;
  const bool quoted = word == ".Dq" || word == ".Ql";
  while (words >> word) {
    const bool mark = word == "." || word == ",";
    if (mark && quoted && !plain.empty()) plain += '"';
    plain += (plain.empty() ? (quoted ? "\"" : "") : mark ? "" : " ") + word;
    if (mark) return plain;
  }
  return quoted ? plain + '"' : plain;
}

std::vector<Paragraph> Paragraphs() {
  std::vector<Paragraph> paragraphs;
  std::istringstream page(kManPage);
  bool inside = false;
  for (std::string line; std::getline(page, line);) {
    if (line.compare(0, 4, ".Sh ") == 0) inside = line == ".Sh DIAGNOSTICS";
    if (!inside || line.compare(0, 3, ".Bl") == 0) continue;
    if (line.compare(0, 4, ".It ") == 0) {
      paragraphs.push_back({QuotedIn(line), ""});
    } else if (line.compare(0, 3, ".El") == 0 || line.compare(0, 3, ".Ss") == 0) {
      paragraphs.emplace_back();
    } else if (!paragraphs.empty()) {
      std::string& text = paragraphs.back().text;
      text += (text.empty() ? "" : " ") + Plain(line);
    }
  }
  return paragraphs;
}

}  // namespace

std::string Explanation(const std::string& message) {
  static const std::vector<Paragraph> kParagraphs = Paragraphs();
  std::size_t longest = 0;
  std::string explanation;
  for (const Paragraph& paragraph : kParagraphs) {
    for (const std::string& head : paragraph.heads) {
      const std::string begin = head.substr(0, head.find("..."));
      if (begin.size() <= longest || message.compare(0, begin.size(), begin) != 0) continue;
      longest = begin.size();
      explanation = paragraph.text;
    }
  }
  // Whole sentences, as many as a line can hold.
  constexpr std::size_t kEnough = 200;
  if (explanation.size() > kEnough) {
    const std::size_t end = explanation.rfind(". ", kEnough);
    if (end != std::string::npos) explanation.resize(end + 1);
  }
  return explanation;
}
