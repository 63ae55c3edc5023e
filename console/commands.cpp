#include "commands.h"

#include <algorithm>
#include <set>

#include "line/failure.h"
#include "line/visible.h"

namespace {

/// Help of a command, which stands behind the device, and of words that the parser does not know.
class CommandHelp : public CLI::Formatter {
 public:
  explicit CommandHelp(std::vector<Commands::Word> words = {}) : words_(std::move(words)) {}

  std::string make_usage(const CLI::App* command, std::string name) const override {
    const std::size_t program = name.rfind(' ');
    if (program != std::string::npos && program != 0) name.insert(program, " DEVICE");
    if (words_.empty()) return Formatter::make_usage(command, name);
    for (const Commands::Word& word : words_) name += " " + word.name;
    return "Usage: " + name + "\n";
  }

  std::string make_positionals(const CLI::App* command) const override {
    std::string text = Formatter::make_positionals(command);
    if (!words_.empty()) text += "\nPositionals:\n";
    for (const Commands::Word& word : words_) {
      std::string name = "  " + word.name;
      name.resize(std::max(name.size() + 2, get_column_width()), ' ');
      text += name + word.help + "\n";
    }
    return text;
  }

  const std::vector<Commands::Word>& Words() const { return words_; }

 private:
  std::vector<Commands::Word> words_;
};

}  // namespace

CLI::App* Commands::Add(const std::string& name, const std::string& help, const Run& run) const {
  CLI::App* command = parser_.add_subcommand(name, help);
  command->fallthrough();
  command->formatter(std::make_shared<CommandHelp>());
  command->callback([command, name, session = session_, run] {
    Session* const given = session(true);
    if (given == nullptr) {
      throw Failure(kUsage, "DEVICE is required: the serial device, such as /dev/ttyUSB0.");
    }
    Session& current = *given;
    static const std::set<std::string> kForGNP = {"da", "raw", "listen", "check", "watch"};
    if (current.gnp && kForGNP.count(name) == 0) {
      throw Failure(
          kUsage, name + " is an AK command; --protocol gnp has check, da, listen, raw and watch.");
    }
    run(current, command->remaining());
  });
  return command;
}

void Commands::AddWithWords(const std::string& name, const std::string& help,
                            const std::vector<Word>& words, const std::string& example,
                            const Run& run) const {
  CLI::App* command = Add(name, help, run);
  command->allow_extras()->fallthrough(false);
  command->formatter(std::make_shared<CommandHelp>(words));
  command->footer("Example: qmx-console /dev/ttyUSB0 " + example);
}

CLI::App* Commands::AddForDesk(const std::string& name, const std::string& help,
                               const std::function<void(Session*)>& run) const {
  CLI::App* command = parser_.add_subcommand(name, help);
  command->fallthrough();
  command->callback([session = session_, run] { run(session(false)); });
  return command;
}

void AddCommands(CLI::App& parser, const GetSession& session) {
  const Commands commands(parser, session);
  AddRegisterCommands(commands);
  AddRecordCommands(commands);
  AddControlCommands(commands);
}

std::vector<Place> PlacesOf(const CLI::App& command) {
  std::vector<Place> places;
  const auto formatter = command.get_formatter();
  if (const auto* help = dynamic_cast<const CommandHelp*>(formatter.get())) {
    for (const Commands::Word& word : help->Words()) places.push_back({word.name, false});
  }
  for (const CLI::Option* option : command.get_options()) {
    if (!option->get_positional()) continue;
    places.push_back({option->get_name(true), option->get_items_expected_max() > 1});
  }
  return places;
}

std::function<std::string(const std::string&)> Digits(std::size_t count) {
  return [count](const std::string& text) {
    const bool fits =
        text.size() == count && text.find_first_not_of("0123456789") == std::string::npos;
    return fits ? std::string() : std::to_string(count) + " digits are wanted, not " + text;
  };
}

std::function<std::string(const std::string&)> Seconds(double least, double most) {
  const CLI::Range range(least, most);
  return [range](const std::string& text) {
    // What is no number is within any range.
    const bool none = text.find_first_of("nN") != std::string::npos;
    return none ? "A number is wanted, not " + text : range(text);
  };
}

std::string Joined(const Words& words, std::size_t from) {
  std::string text;
  for (std::size_t i = from; i < words.size(); ++i) {
    if (words[i].compare(0, 2, "--") == 0) {
      throw Failure(kUsage,
                    words[i] + " comes too late: options stand before the device or command.");
    }
    text += (i == from ? "" : " ") + words[i];
  }
  return text;
}

void AskPlain(Session& session, const std::string& code, const std::string& arguments,
              const std::string& what) {
  const AKReply reply = session.logger.Ask(code, arguments);
  const std::string value = reply.refused ? "" : reply.fields;
  session.report.Show(code, reply, reply.refused ? "" : what + Visible(value) + "\n",
                      {{"value", JsonText(value)}});
  RequireDone(reply, code);
}
