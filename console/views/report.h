// How replies are shown: as text for a reader, or as one JSON object per reply.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "logger/logger.h"
#include "logger/register_numbers.h"

/// Text between quotation marks as JSON writes it.
std::string JsonText(const std::string& text);

/// One JSON object from names and values that are JSON already.
std::string JsonObject(const std::vector<std::pair<std::string, std::string>>& members);

std::string JsonList(const std::vector<std::string>& texts);

/// What JSON says of a register besides its value: "register" and "name".
std::vector<std::pair<std::string, std::string>> JsonMembers(int number, const std::string& name);

/// Columns padded to equal width, by line and as one text.
std::vector<std::string> TableLines(const std::vector<std::vector<std::string>>& rows);
std::string Table(const std::vector<std::vector<std::string>>& rows);

/// Throws Failure(kUsage) when the standard output takes no more.
void RequireOutput();

class Report {
 public:
  explicit Report(bool json) : json_(json) {}

  /// A reply: `text` for a reader, `members` besides command and status condition for a script.
  void Show(const std::string& command, const AKReply& reply, const std::string& text,
            const std::vector<std::pair<std::string, std::string>>& members) const;
  void Show(const MDFrame& frame, const RegisterNumbers& numbers) const;

  /// What came back to a request for a register.
  void ShowRegister(const Register& asked, const AKReply& reply) const;

  /// All that came back to a raw request.
  void Answer(const std::string& bytes) const;

  bool Json() const { return json_; }
  void SetJson(bool json) { json_ = json; }

 private:
  bool json_;
};
