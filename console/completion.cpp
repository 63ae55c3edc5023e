#include "completion.h"

#include <algorithm>
#include <map>

#include "commands.h"
#include "options.h"

namespace {

std::vector<std::string> CommandNames(const CLI::App& parser) {
  std::vector<std::string> names;
  for (const CLI::App* command : parser.get_subcommands({})) names.push_back(command->get_name());
  return names;
}

std::vector<std::string> OptionNames(const CLI::App& command) {
  std::vector<std::string> names;
  for (const CLI::Option* option : command.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  return names;
}

/// What is wanted next: an option's name when it waits for its value, or that of the word whose
/// turn it is; empty when nothing is.
std::string Wanted(const CLI::App& command, const Words& before) {
  std::size_t place = 0;
  for (std::size_t i = 1; i < before.size(); ++i) {
    const CLI::Option* option =
        before[i][0] == '-' ? command.get_option_no_throw(before[i]) : nullptr;
    if (option == nullptr) {
      ++place;
    } else if (option->get_items_expected_max() > 0 && ++i == before.size()) {
      return before.back();
    }
  }
  const std::vector<Place> places = PlacesOf(command);
  if (places.empty() || (place >= places.size() && !places.back().repeated)) return "";
  return places[std::min(place, places.size() - 1)].name;
}

}  // namespace

Choices ChoicesFor(const CLI::App& parser, std::vector<std::string> before,
                   const std::string& begun,
                   const std::function<std::vector<std::string>()>& registers) {
  static const std::map<std::string, std::vector<std::string>> kWords = {
      {"WHERE", {"B", "E"}},
      {"CODE", {"03", "06", "09", "17", "25", "26"}},
      {"--from", {"begin", "pointer"}},
      {"on|off", {"on", "off"}},
      {"OPTION", SettableNames()},
      {"set protocol", {"ak", "gnp"}},
      {"set json", {"on", "off"}},
  };
  static const std::vector<std::string> kFiles = {"FILE", "OTHER_DEVICE", "--output",
                                                  "-o",   "--csv",        "--report"};
  const auto names = CommandNames(parser);
  if (before.empty()) return {names};
  if (std::find(names.begin(), names.end(), before[0]) == names.end()) return {};
  const CLI::App& command = *parser.get_subcommand(before[0]);
  std::string wanted = Wanted(command, before);
  if (!begun.empty() && begun[0] == '-') return {OptionNames(command)};
  if (wanted == "REGISTER") return {registers()};
  if (wanted == "COMMAND") return {names};
  if (std::find(kFiles.begin(), kFiles.end(), wanted) != kFiles.end()) return {{}, true};
  if (wanted == "VALUE") wanted = before[0] + " " + before[1];
  const auto found = kWords.find(wanted);
  return found == kWords.end() ? Choices{} : Choices{found->second};
}
