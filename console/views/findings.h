// What a check finds.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct Finding {
  enum class Kind {
    kOk,
    kLook,  ///< something is to be looked at
    kFound  ///< something is otherwise than it was asked for
  };
  Kind kind;
  std::string topic;  ///< one word
  std::string text;
};

/// "ok", "LOOK" or "FOUND".
std::string KindText(Finding::Kind kind);

/// A register and what it reads.
struct RegisterValue {
  int number;
  std::string name;
  std::string value;  ///< "refused" where it cannot be read
};

class Findings {
 public:
  /// Shows each as it is found, or shows none.
  explicit Findings(bool show) : show_(show) {}

  void Add(Finding::Kind kind, const std::string& topic, const std::string& text);

  const std::vector<Finding>& All() const { return all_; }

  /// Whether none of them is to be looked at or was found otherwise.
  bool AreGood() const;

  /// Every register, where that was asked for.
  std::vector<RegisterValue> values;

 private:
  bool show_;
  std::vector<Finding> all_;
};

/// How long ago a moment of the instrument's local time is, by the clock of this computer: "2 h 10
/// min ago", "3 min ahead of this computer's clock". Sets the seconds, negative when it lies ahead.
/// Returns an empty text for what is no "2026-11-23 05:03:56".
std::string AgeText(const std::string& moment, std::int64_t& seconds);

/// The bits of a status condition, such as "bits 0 and 13".
std::string BitsText(int status);
