#include "settings.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "line/failure.h"
#include "line/visible.h"

namespace {

std::string Together(const std::vector<std::string>& words, const std::string& between) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : between) + word;
  return text;
}

}  // namespace

const std::vector<std::string>& Settings::Names() {
  static const std::vector<std::string> kNames = {"device", "station",  "channel",
                                                  "id",     "protocol", "timeout"};
  return kNames;
}

Settings Settings::OfThisUser() {
  Settings settings;
  std::vector<std::string> paths = {"/etc/qmx-console.conf"};
  if (const char* home = std::getenv("HOME")) {
    paths.push_back(std::string(home) + "/.config/qmx-console.conf");
  }
  for (const std::string& path : paths) {
    std::error_code none;
    if (!std::filesystem::exists(path, none)) continue;
    std::ifstream file(path);
    if (!file || std::filesystem::is_directory(path)) {
      throw Failure(kUsage, path + " cannot be read.");
    }
    settings.Read(file, path);
  }
  return settings;
}

void Settings::Read(std::istream& file, const std::string& path) {
  for (const CLI::ConfigItem& item : CLI::ConfigTOML().from_config(file)) {
    const std::string line = Together(item.parents, ".");
    const std::string source = path + (line.empty() ? "" : ", [" + Visible(line) + "]");
    // The begin and the end of a section.
    if (item.name == "++" || item.name == "--") continue;
    const auto& names = Names();
    if (std::find(names.begin(), names.end(), item.name) == names.end()) {
      throw Failure(kUsage, "There is no setting " + Visible(item.name) + " (" + source +
                                "); there are " + Together(names, ", ") + ".");
    }
    if (item.inputs.size() != 1 || item.inputs[0].empty()) {
      throw Failure(kUsage, "The setting " + item.name + " needs one value (" + source +
                                "); one with blanks or commas stands in quotation marks.");
    }
    lines_[line][item.name] = {item.inputs[0], source};
  }
}

std::vector<std::string> Settings::Lines() const {
  std::vector<std::string> lines;
  for (const auto& [line, settings] : lines_) {
    if (!line.empty()) lines.push_back(line);
  }
  return lines;
}

std::optional<Setting> Settings::Find(const std::string& line, const std::string& name) const {
  const auto found = lines_.find(line);
  if (found == lines_.end()) return std::nullopt;
  const auto setting = found->second.find(name);
  if (setting == found->second.end()) return std::nullopt;
  return setting->second;
}
