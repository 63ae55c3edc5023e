// What the checks have found.
#pragma once

#include <string>
#include <utility>
#include <vector>

enum class Verdict {
  kOk,
  kLook,       ///< works, but not as one would want it
  kFault,      ///< something is not served
  kSkipped,    ///< does not apply here, or hangs on a fault before it
  kUnchecked,  ///< could not be found out
};

struct Finding {
  Verdict verdict;
  std::string check;  ///< one word, such as "agent"
  std::string text;
  std::string cure;  ///< a command
  std::string page;  ///< heading in the page that tells more (kOperationPage)
};

constexpr char kOperationPage[] = "/usr/share/doc/qmx-gateway/operation.md";

/// What the program ends with.
enum Status { kNothing = 0, kCouldNotCheck = 1, kSomething = 4 };

/// A text made as printf(3) makes it.
[[gnu::format(printf, 1, 2)]] std::string Text(const char* format, ...);

class Report {
 public:
  void Ok(const char* check, const std::string& text) { Add(Verdict::kOk, check, text); }
  void Look(const char* check, const std::string& text, const std::string& cure,
            const std::string& page) {
    Add(Verdict::kLook, check, text, cure, page);
  }
  void Fault(const char* check, const std::string& text, const std::string& cure,
             const std::string& page) {
    Add(Verdict::kFault, check, text, cure, page);
  }
  void Skip(const char* check, const std::string& why) { Add(Verdict::kSkipped, check, why); }
  void Unchecked(const char* check, const std::string& why) {
    Add(Verdict::kUnchecked, check, why);
  }

  /// Notes a figure under the name that it has in the text file, without the prefix "qmx_".
  void Measure(const std::string& name, double value) { measures_.emplace_back(name, value); }

  const std::vector<Finding>& Findings() const { return findings_; }
  const std::vector<std::pair<std::string, double>>& Measures() const { return measures_; }

  /// The first fault; without one the first thing to look at; null when there is neither.
  const Finding* First() const;

  int ExitStatus() const;

 private:
  void Add(Verdict verdict, const char* check, const std::string& text,
           const std::string& cure = "", const std::string& page = "") {
    findings_.push_back({verdict, check, text, cure, page});
  }

  std::vector<Finding> findings_;
  std::vector<std::pair<std::string, double>> measures_;
};

/// One line a check, then the first cause, its cure, and the page that tells more.
std::string AsText(const Report& report);

/// One object: "findings", "measures", and "first", which is null when there is nothing.
std::string AsJson(const Report& report);

/// The figures and verdicts as node_exporter's text file collector reads them.
std::string AsMetrics(const Report& report);
