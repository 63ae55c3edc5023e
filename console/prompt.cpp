#include "prompt.h"

#include <editline/readline.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <string>

#include "completion.h"
#include "line/failure.h"
#include "line/interrupt.h"

namespace {

std::string Lowered(std::string text) {
  for (char& byte : text) byte = static_cast<char>(std::tolower(static_cast<unsigned char>(byte)));
  return text;
}

/// The commands and what they work with.
class Desk {
 public:
  Desk(Session& session, CLI::App& app, Options& options, bool terminal)
      : session_(session), app_(app), options_(options), terminal_(terminal) {
    Clear();
  }

  /// Makes ready for the next line: a parser keeps what it has parsed.
  void Clear();

  /// Runs one line. Returns false when it is the last one.
  bool Run(std::string line);

  /// What may stand at the end of a line, `begun` in lower case.
  Choices ChoicesAfter(Words before, const std::string& begun);

  /// The status of the last command that failed.
  int Status() const { return status_; }

 private:
  void Help(const std::string& command) const;
  void Set(const std::string& name, const std::string& value);
  void Fail(int status, const std::string& message);
  bool Knows(const std::string& command) const;
  std::vector<std::string> RegisterNames();

  Session& session_;
  CLI::App& app_;
  Options& options_;
  const bool terminal_;  // somebody types
  std::unique_ptr<CLI::App> parser_;
  std::string word_;  // what the commands of the prompt itself are given
  std::string value_;
  bool names_ = true;  // the names of the registers can be had
  bool left_ = false;
  int status_ = kDone;
};

void Desk::Clear() {
  parser_ = std::make_unique<CLI::App>();
  word_.clear();
  value_.clear();
  parser_->require_subcommand(1);
  AddCommands(*parser_, [this](bool) { return &session_; });
  parser_->add_subcommand("help", "This list, or what a command takes: help COMMAND")
      ->callback([this] { Help(Lowered(word_)); })
      ->add_option("COMMAND", word_);
  CLI::App* set = parser_->add_subcommand("set", "Change an option from now on: set station 5");
  set->callback([this] { Set(word_, value_); });
  set->add_option("OPTION", word_)->check(CLI::IsMember(SettableNames()));
  set->add_option("VALUE", value_);
  parser_->add_subcommand("trace", "Show every byte both ways: trace on, trace off")
      ->callback([this] { session_.line.GetTranscript().SetTrace(word_ == "on"); })
      ->add_option("on|off", word_)
      ->check(CLI::IsMember({"on", "off"}))
      ->required();
  parser_->add_subcommand("quit", "Leave the prompt")->alias("exit")->callback([this] {
    left_ = true;
  });
  // The commands have taken the flag over; the prompt itself has "help".
  parser_->set_help_flag();
}

bool Desk::Knows(const std::string& command) const {
  const auto commands = parser_->get_subcommands({});
  return std::any_of(commands.begin(), commands.end(),
                     [&](const CLI::App* known) { return known->check_name(command); });
}

void Desk::Help(const std::string& command) const {
  if (Knows(command)) {
    std::cout << parser_->get_subcommand(command)->help();
    return;
  }
  if (!command.empty()) throw Failure(kUsage, "There is no command " + command + ".");
  std::vector<std::vector<std::string>> rows;
  for (const CLI::App* known : parser_->get_subcommands({})) {
    rows.push_back({known->get_name(), known->get_description()});
  }
  std::cout << Table(rows);
}

void Desk::Set(const std::string& name, const std::string& value) {
  if (name == "id" && value.empty()) {
    options_.id.clear();
  } else if (!name.empty()) {
    SetOption(app_, name, {value, "set " + name});
  }
  if (!name.empty()) {
    // It may be another instrument now.
    if (name == "station" || name == "channel" || name == "protocol") session_.numbers.Forget();
    names_ = true;
    session_.logger.SetAddress(options_.GetAddress());
    session_.logger.SetPatience(options_.Patience());
    session_.gnp = options_.protocol == "gnp";
    session_.report.SetJson(options_.json);
    return;
  }
  std::cout << Table({{"station", options_.station},
                      {"channel", options_.channel},
                      {"id", options_.id},
                      {"protocol", options_.protocol},
                      {"timeout", app_.get_option("--timeout")->as<std::string>()},
                      {"json", options_.json ? "on" : "off"}});
}

std::vector<std::string> Desk::RegisterNames() {
  // A line that speaks GNP has no list of them.
  if (session_.gnp || !names_) return {};
  try {
    // Then the key is waited for again, which sees it too.
    const Interrupt interrupt(Interrupt::Then::kAbort);
    return session_.numbers.Names();
  } catch (const Failure&) {
    names_ = false;  // Not waited for again.
    return {};
  }
}

Choices Desk::ChoicesAfter(Words before, const std::string& begun) {
  if (!before.empty()) before[0] = Lowered(before[0]);
  Choices choices = ChoicesFor(*parser_, before, begun, [this] { return RegisterNames(); });
  const auto other = [&begun](const std::string& word) {
    return Lowered(word).compare(0, begun.size(), begun) != 0;
  };
  auto& words = choices.words;
  words.erase(std::remove_if(words.begin(), words.end(), other), words.end());
  return choices;
}

void Desk::Fail(int status, const std::string& message) {
  session_.line.GetTranscript().EndLine();
  std::cerr << message << std::endl;
  status_ = status;
}

bool Desk::Run(std::string line) {
  const std::size_t start = std::min(line.find_first_not_of(" \t"), line.size());
  const std::size_t end = std::min(line.find_first_of(" \t", start), line.size());
  const std::string command = Lowered(line.substr(start, end - start));
  if (command.empty()) return true;
  if (!Knows(command)) {
    Fail(kUsage,
         "There is no command " + line.substr(start, end - start) + "; \"help\" lists them.");
    return true;
  }
  line.replace(start, end - start, command);
  try {
    const Interrupt interrupt(Interrupt::Then::kAbort);
    parser_->parse(line);
  } catch (const CLI::Success&) {
    std::cout << parser_->get_subcommands().front()->help();
  } catch (const CLI::ParseError& error) {
    Fail(kUsage, error.what() + ("; \"" + command) + " --help\" tells more.");
  } catch (const Failure& failure) {
    Fail(failure.status, failure.what());
  } catch (const std::exception& failure) {
    Fail(kUsage, failure.what());
  }
  Clear();
  // As in a shell: what is read from a file ends with an interrupt, the console with any other
  // signal.
  const int noted = Interrupt::Noted();
  const bool ends = noted != 0 && (noted != SIGINT || !terminal_);
  if (ends) status_ = kInterrupted + noted;
  return !left_ && !ends;
}

/// libedit's callbacks know no context.
Desk* g_desk = nullptr;
std::vector<std::string> g_matches;

char* NextMatch(const char*, int state) {
  static std::size_t next = 0;
  if (state == 0) next = 0;
  return next < g_matches.size() ? strdup(g_matches[next++].c_str()) : nullptr;
}

char** Complete(const char* text, int start, int) {
  const std::string before(rl_line_buffer, static_cast<std::size_t>(start));
  const Choices choices = g_desk->ChoicesAfter(CLI::detail::split_up(before), Lowered(text));
  g_matches = choices.words;
  // Names of files are what libedit itself completes.
  rl_attempted_completion_over = choices.files ? 0 : 1;
  return choices.files ? nullptr : rl_completion_matches(text, NextMatch);
}

std::string HistoryFile() {
  const char* home = std::getenv("HOME");
  return home == nullptr ? "" : std::string(home) + "/.qmx_console_history";
}

/// Called by libedit while it waits for a key. An interrupt ends the line being typed: without its
/// hook readline returns.
int WaitForKey() {
  pollfd keys{0, POLLIN, 0};
  if (poll(&keys, 1, 100) <= 0 && Interrupt::Noted() != 0) rl_event_hook = nullptr;
  return 0;
}

void PrepareTerminal() {
  // libedit would hand an interrupt on to every process of the terminal.
  rl_catch_signals = 0;
  using_history();
  stifle_history(1000);
  read_history(HistoryFile().c_str());
  rl_attempted_completion_function = Complete;
  std::cout << "\"help\" lists the commands, \"quit\" leaves." << std::endl;
}

/// Reads a line; false at the end of the input. Throws Failure when the console is to end.
bool ReadLine(bool terminal, std::string& line) {
  if (!terminal) return static_cast<bool>(std::getline(std::cin, line));
  const Interrupt interrupt(Interrupt::Then::kFinish);
  rl_event_hook = WaitForKey;
  char* typed = readline("qmx> ");
  if (Interrupt::Noted() != 0) {
    std::cout << std::endl;
    if (Interrupt::Noted() != SIGINT) {
      throw Failure(kInterrupted + Interrupt::Noted(), "Interrupted.");
    }
    line.clear();
    std::free(typed);
    return true;
  }
  if (typed == nullptr) return false;
  line = typed;
  if (!line.empty()) add_history(typed);
  if (!HistoryFile().empty()) write_history(HistoryFile().c_str());
  std::free(typed);
  return true;
}

}  // namespace

int Prompt(Session& session, CLI::App& app, Options& options) {
  const bool terminal = isatty(0) == 1;
  Desk desk(session, app, options, terminal);
  // Used while lines are read, below.
  // cppcheck-suppress danglingLifetime
  g_desk = &desk;
  if (terminal) PrepareTerminal();
  std::string line;
  while (ReadLine(terminal, line) && desk.Run(line)) continue;
  return desk.Status();
}
