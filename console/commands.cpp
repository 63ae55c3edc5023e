#include "commands.h"

#include "line/failure.h"
#include "line/visible.h"

CLI::App* Commands::Add(const std::string& name, const std::string& help, const Run& run) const {
  CLI::App* command = parser_.add_subcommand(name, help);
  command->fallthrough();
  command->callback([command, name, session = session_, run] {
    Session* const given = session();
    if (given == nullptr) {
      throw Failure(kUsage, "DEVICE is required: the serial device, such as /dev/ttyUSB0.");
    }
    Session& current = *given;
    if (current.gnp && name != "da" && name != "raw" && name != "listen") {
      throw Failure(kUsage, name + " is an AK command; --protocol gnp has da, raw and listen.");
    }
    run(current, command->remaining());
  });
  return command;
}

CLI::App* Commands::AddWithWords(const std::string& name, const std::string& help,
                                 const Run& run) const {
  CLI::App* command = Add(name, help, run);
  command->allow_extras()->fallthrough(false);
  return command;
}

CLI::App* Commands::AddForDesk(const std::string& name, const std::string& help,
                               const std::function<void(Session*)>& run) const {
  CLI::App* command = parser_.add_subcommand(name, help);
  command->fallthrough();
  command->callback([session = session_, run] { run(session()); });
  return command;
}

void AddCommands(CLI::App& parser, const GetSession& session) {
  const Commands commands(parser, session);
  AddRegisterCommands(commands);
  AddRecordCommands(commands);
  AddControlCommands(commands);
}

std::function<std::string(const std::string&)> Digits(std::size_t count) {
  return [count](const std::string& text) {
    const bool fits =
        text.size() == count && text.find_first_not_of("0123456789") == std::string::npos;
    return fits ? std::string() : std::to_string(count) + " digits are wanted, not " + text;
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
