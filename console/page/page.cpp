#include "page/page.h"

#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "line/failure.h"

// What assets.S takes in.
extern "C" {
extern const char qmxLook[], qmxLookEnd[];
extern const char qmxRecordsStyle[], qmxRecordsStyleEnd[];
extern const char qmxRecordsScript[], qmxRecordsScriptEnd[];
extern const char qmxPlotStyle[], qmxPlotStyleEnd[];
extern const char qmxPlotScript[], qmxPlotScriptEnd[];
extern const char qmxPlotLicence[], qmxPlotLicenceEnd[];
}

namespace {

std::string_view Between(const char* start, const char* end) {
  return {start, static_cast<std::size_t>(end - start)};
}

/// The library's file without the line that names the file of its sources: a browser's tools would
/// look for it.
std::string_view WithoutSources(std::string_view file) {
  for (const char* const mark : {"//# sourceMappingURL", "/*# sourceMappingURL"}) {
    file = file.substr(0, file.rfind(mark));
  }
  return file;
}

constexpr char kFirstLine[] = "<!DOCTYPE html>";

/// Throws Failure when something else than a page is there: its name may have been forgotten, and a
/// file of records stands in its place.
void RequirePage(const std::string& path) {
  std::error_code failed;
  if (!std::filesystem::exists(path, failed)) return;
  std::string begin;
  if (std::filesystem::is_regular_file(path, failed)) {
    if (std::filesystem::file_size(path, failed) == 0) return;
    begin.resize(sizeof kFirstLine - 1);
    std::ifstream(path, std::ios::binary).read(begin.data(), sizeof kFirstLine - 1);
  }
  if (begin != kFirstLine) throw Failure(kUsage, path + " is no page: name another file.");
}

/// How many bytes the UTF-8 character that begins here has; 0 when none does.
std::size_t CharacterSize(std::string_view text) {
  const auto byte = [&](std::size_t i) {
    return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
  };
  const unsigned first = byte(0);
  const std::size_t size = first < 0x80   ? 1
                           : first < 0xC2 ? 0
                           : first < 0xE0 ? 2
                           : first < 0xF0 ? 3
                           : first < 0xF5 ? 4
                                          : 0;
  for (std::size_t i = 1; i < size; ++i) {
    if ((byte(i) & 0xC0U) != 0x80) return 0;
  }
  // Longer forms than needed, halves of pairs, and what lies behind the last character.
  const unsigned second = byte(1);
  const bool wrong = (first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F) ||
                     (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F);
  return wrong ? 0 : size;
}

}  // namespace

std::string HtmlText(const std::string& text) {
  std::string html;
  for (std::size_t i = 0; i < text.size();) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const std::size_t size = CharacterSize(std::string_view(text).substr(i));
    if (size == 0 || (byte < 0x20 && byte != '\n') || byte == 0x7F) {
      char code[12];
      std::snprintf(code, sizeof code, "&lt;x%02X&gt;", byte);
      html += code;
      ++i;
      continue;
    }
    switch (text[i]) {
      case '&':
        html += "&amp;";
        break;
      case '<':
        html += "&lt;";
        break;
      case '>':
        html += "&gt;";
        break;
      case '"':
        html += "&quot;";
        break;
      default:
        html.append(text, i, size);
    }
    i += size;
  }
  return html;
}

void BeginPage(std::ostream& page, const std::string& title, std::string_view style) {
  page << kFirstLine << "\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
       << "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
       // Nothing is fetched, whatever a record says.
       << "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
          "style-src 'unsafe-inline'; script-src 'unsafe-inline'; img-src data:\">\n"
       << "<title>" << HtmlText(title) << "</title>\n<style>\n"
       << Between(qmxLook, qmxLookEnd) << style << "</style>\n</head>\n<body>\n<h1>"
       << HtmlText(title) << "</h1>\n";
}

void WritePage(const std::string& path, const std::function<void(std::ostream&)>& write) {
  if (path == "-") {
    write(std::cout);
    if (!std::cout.flush()) throw Failure(kUsage, "The page cannot be written.");
    return;
  }
  RequirePage(path);
  const std::string part = path + ".part";
  std::ofstream page(part, std::ios::binary | std::ios::trunc);
  if (page) write(page);
  page.close();
  std::error_code failed;
  if (page) std::filesystem::rename(part, path, failed);
  if (page && !failed) return;
  std::filesystem::remove(part, failed);
  throw Failure(kUsage, path + " cannot be written.");
}

void EndPage(std::ostream& page) {
  const std::time_t now = std::time(nullptr);
  std::tm time{};
  localtime_r(&now, &time);
  char made[64];
  std::strftime(made, sizeof made, "%Y-%m-%d %H:%M:%S %z", &time);
  page << "<footer><p>Made by qmx-console " QMX_VERSION " on " << made
       << ". This page asks no server.</p></footer>\n</body>\n</html>\n";
}

std::string_view RecordsStyle() { return Between(qmxRecordsStyle, qmxRecordsStyleEnd); }
std::string_view RecordsScript() { return Between(qmxRecordsScript, qmxRecordsScriptEnd); }
std::string_view PlotStyle() { return WithoutSources(Between(qmxPlotStyle, qmxPlotStyleEnd)); }
std::string_view PlotScript() { return WithoutSources(Between(qmxPlotScript, qmxPlotScriptEnd)); }
std::string_view PlotLicence() { return Between(qmxPlotLicence, qmxPlotLicenceEnd); }
