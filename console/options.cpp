#include "options.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>

#include "commands.h"
#include "line/failure.h"

namespace {

std::optional<Setting> FromEnvironment(const std::string& name) {
  std::string variable = "QMX_" + name;
  for (char& byte : variable) byte = static_cast<char>(std::toupper(byte));
  const char* value = std::getenv(variable.c_str());
  if (value == nullptr || *value == 0) return std::nullopt;
  return Setting{value, variable};
}

/// What the environment or the configuration say for all lines.
std::optional<Setting> ForAll(const Settings& settings, const std::string& name) {
  const auto setting = FromEnvironment(name);
  return setting ? setting : settings.Find("", name);
}

/// Whether the word can be opened, or looks as if it were meant to be.
bool IsDevice(const std::string& word) {
  return word.find('/') != std::string::npos || std::filesystem::exists(word);
}

std::function<std::string(const std::string&)> Characters(std::size_t count, const char* name) {
  return [=](const std::string& text) {
    return text.size() == count ? "" : name + (" wanted, not " + text);
  };
}

}  // namespace

std::chrono::milliseconds Options::Patience() const {
  return std::chrono::milliseconds(static_cast<long>(timeout * 1000));
}

void AddLineOptions(CLI::App& app, Options& options) {
  app.add_option("--station", options.station, "AK station, one character")
      ->check(Characters(1, "one character is"))
      ->capture_default_str();
  app.add_option("--channel", options.channel, "AK channel, two characters")
      ->check(Characters(2, "two characters are"))
      ->capture_default_str();
  app.add_option("--id", options.id, "Instrument id of GNP requests, three digits")
      ->check(Digits(3));
  app.add_option("--protocol", options.protocol, "What the line speaks: ak or gnp")
      ->check(CLI::IsMember({"ak", "gnp"}))
      ->capture_default_str();
  app.add_option("--timeout", options.timeout, "Seconds of silence that end the wait for a reply")
      ->check(Seconds(0.1, 3600))
      ->capture_default_str();
  app.add_flag("--json", options.json, "Print one JSON object for each reply");
}

const std::vector<std::string>& SettableNames() {
  static const std::vector<std::string> kNames = {"station",  "channel", "id",
                                                  "protocol", "timeout", "json"};
  return kNames;
}

void SetOption(CLI::App& app, const std::string& name, const Setting& setting) {
  CLI::Option* option = app.get_option("--" + name);
  const std::vector<std::string> earlier = option->results();
  try {
    option->clear();
    option->add_result(setting.value);
    option->run_callback();
  } catch (const CLI::ParseError& error) {
    option->clear();
    for (const std::string& result : earlier) option->add_result(result);
    std::string why = error.what();
    const std::string named = "--" + name + ": ";
    if (why.compare(0, named.size(), named) == 0) why.erase(0, named.size());
    throw Failure(kUsage, setting.source + ": " + why + ".");
  }
}

void FillIn(CLI::App& app, const Settings& settings, Options& options) {
  if (options.device.empty()) {
    if (const auto device = ForAll(settings, "device")) options.device = device->value;
  }
  if (options.device.empty()) return;
  const auto lines = settings.Lines();
  const std::string line = options.device;
  const bool named = std::find(lines.begin(), lines.end(), line) != lines.end();
  if (!named && !IsDevice(line)) {
    std::string known;
    for (const std::string& one : lines) known += (known.empty() ? "" : ", ") + one;
    throw Failure(kUsage, line + " is no command, no device, and no line of the configuration" +
                              (known.empty() ? "." : " (" + known + ")."));
  }
  for (const std::string& name : Settings::Names()) {
    auto setting = named ? settings.Find(line, name) : std::nullopt;
    if (name == "device") {
      if (named && !setting)
        throw Failure(kUsage, "The configuration names no device for " + line + ".");
      if (named) options.device = setting->value;
      continue;
    }
    if (!setting) setting = ForAll(settings, name);
    if (setting && app.count("--" + name) == 0) SetOption(app, name, *setting);
  }
}
