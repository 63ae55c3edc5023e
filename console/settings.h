// What the configuration files say about lines.
#pragma once

#include <istream>
#include <map>
#include <optional>
#include <string>
#include <vector>

/// A value and where it comes from, "/etc/qmx-console.conf, [roof]".
struct Setting {
  std::string value;
  std::string source;
};

class Settings {
 public:
  /// Names that a setting may have.
  static const std::vector<std::string>& Names();

  /// /etc/qmx-console.conf and the user's own file, which counts where both say something. Those
  /// that are not there are passed over. Throws Failure(kUsage).
  static Settings OfThisUser();

  /// Takes a file over that counts more than those before: settings as NAME=VALUE, behind [LINE]
  /// for that line alone. Throws Failure(kUsage).
  void Read(std::istream& file, const std::string& path);

  /// Lines that the files name, in order.
  std::vector<std::string> Lines() const;

  /// What is set for a line, or, with an empty text, for all.
  std::optional<Setting> Find(const std::string& line, const std::string& name) const;

 private:
  std::map<std::string, std::map<std::string, Setting>> lines_;
};
