#include "doctor/report.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <ctime>

namespace {

const char* Word(Verdict verdict) {
  constexpr const char* kWords[] = {"ok", "LOOK", "FAULT", "-", "?"};
  return kWords[static_cast<int>(verdict)];
}

std::string Quoted(const std::string& text) {
  std::string quoted = "\"";
  for (const char character : text) {
    const auto code = static_cast<unsigned char>(character);
    if (character == '"' || character == '\\') {
      quoted += std::string("\\") + character;
    } else if (code < 0x20 || code >= 0x7F) {
      quoted += Text("\\u%04x", code);  // registers hold Latin-1, if anything
    } else {
      quoted += character;
    }
  }
  return quoted + '"';
}

std::string Object(const Finding& finding) {
  return "{\"check\":" + Quoted(finding.check) + ",\"verdict\":" + Quoted(Word(finding.verdict)) +
         ",\"text\":" + Quoted(finding.text) + ",\"cure\":" + Quoted(finding.cure) +
         ",\"page\":" + Quoted(finding.page) + "}";
}

}  // namespace

std::string Text(const char* format, ...) {
  std::va_list values;
  va_start(values, format);
  char* text = nullptr;
  const int length = vasprintf(&text, format, values);
  va_end(values);
  if (length < 0) return "";
  std::string result(text);
  std::free(text);
  return result;
}

const Finding* Report::First() const {
  for (const Verdict verdict : {Verdict::kFault, Verdict::kLook}) {
    for (const Finding& finding : findings_) {
      if (finding.verdict == verdict) return &finding;
    }
  }
  return nullptr;
}

int Report::ExitStatus() const {
  if (First() != nullptr) return kSomething;
  const bool unchecked = std::any_of(findings_.begin(), findings_.end(), [](const Finding& f) {
    return f.verdict == Verdict::kUnchecked;
  });
  return unchecked ? kCouldNotCheck : kNothing;
}

std::string AsText(const Report& report) {
  std::string text;
  for (const Finding& finding : report.Findings()) {
    text +=
        Text("%-6s %-9s %s\n", Word(finding.verdict), finding.check.c_str(), finding.text.c_str());
  }
  const Finding* first = report.First();
  if (first == nullptr) {
    return text + (report.ExitStatus() == kNothing ? "\nNothing to look at.\n"
                                                   : "\nNothing found; not all was checked.\n");
  }
  return text + "\nFirst: " + first->text + "\nCure:  " + first->cure + "\nMore:  \"" +
         first->page + "\" in " + kOperationPage + "\n";
}

std::string AsJson(const Report& report) {
  std::string findings;
  for (const Finding& finding : report.Findings()) {
    findings += (findings.empty() ? "" : ",") + Object(finding);
  }
  std::string measures;
  for (const auto& [name, value] : report.Measures()) {
    measures += (measures.empty() ? "" : ",") + Quoted(name) + Text(":%.12g", value);
  }
  const Finding* first = report.First();
  return "{\"findings\":[" + findings + "],\"measures\":{" + measures +
         "},\"first\":" + (first == nullptr ? "null" : Object(*first)) + "}\n";
}

std::string AsMetrics(const Report& report) {
  std::string text =
      "# HELP qmx_check What the check found: 0 ok or skipped, 1 to look at, 2 a fault, 3 not "
      "known.\n# TYPE qmx_check gauge\n";
  std::vector<std::string> told;
  for (const Finding& finding : report.Findings()) {
    // The worst of a check stands for it.
    const auto level = [](const Finding& f) {
      constexpr int kLevels[] = {0, 1, 2, 0, 3};
      return kLevels[static_cast<int>(f.verdict)];
    };
    if (std::find(told.begin(), told.end(), finding.check) != told.end()) continue;
    told.push_back(finding.check);
    int worst = 0;
    for (const Finding& other : report.Findings()) {
      if (other.check == finding.check) worst = std::max(worst, level(other));
    }
    text += Text("qmx_check{check=\"%s\"} %d\n", finding.check.c_str(), worst);
  }
  for (const auto& [name, value] : report.Measures()) {
    const bool counter = name.size() > 6 && name.compare(name.size() - 6, 6, "_total") == 0;
    text += Text("# TYPE qmx_%s %s\nqmx_%s %.12g\n", name.c_str(), counter ? "counter" : "gauge",
                 name.c_str(), value);
  }
  return text +
         Text("# TYPE qmx_doctor_time_seconds gauge\nqmx_doctor_time_seconds %lld\n",
              static_cast<long long>(std::time(nullptr))) +
         "# TYPE qmx_build_info gauge\nqmx_build_info{version=\"" QMX_VERSION "\"} 1\n";
}
