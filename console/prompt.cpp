#include "prompt.h"

#include <editline/readline.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <sstream>
#include <string>

#include "line/failure.h"
#include "line/interrupt.h"

namespace {

/// The words that can be completed; libedit's callbacks know no context.
std::vector<std::string> g_commands;
RegisterNumbers* g_numbers = nullptr;

char* NextMatch(const char* start, int state) {
  static std::vector<std::string> matches;
  static std::size_t next = 0;
  if (state == 0) {
    matches.clear();
    next = 0;
    const bool command = std::strchr(rl_line_buffer, ' ') == nullptr;
    try {
      static const std::vector<std::string> kNone;
      const auto& words = command ? g_commands : g_numbers == nullptr ? kNone : g_numbers->Names();
      for (const std::string& word : words) {
        if (word.compare(0, std::strlen(start), start) == 0) matches.push_back(word);
      }
    } catch (const Failure&) {
      g_numbers = nullptr;  // No list of registers, nothing to complete.
    }
  }
  return next < matches.size() ? strdup(matches[next++].c_str()) : nullptr;
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

/// Runs one line. Returns false for "quit".
bool Run(const std::string& line, Session& session, int& status) {
  bool quit = false;
  CLI::App parser;
  parser.require_subcommand(1);
  AddCommands(parser, [&session](bool) { return &session; });
  parser.add_subcommand("help", "This list; COMMAND --help tells its options")->callback([&parser] {
    std::vector<std::vector<std::string>> rows;
    for (const CLI::App* command : parser.get_subcommands({})) {
      rows.push_back({command->get_name(), command->get_description()});
    }
    std::cout << Table(rows);
  });
  std::string trace = "on";
  parser.add_subcommand("trace", "Show every byte both ways: trace on, trace off")
      ->callback([&] { session.line.GetTranscript().SetTrace(trace == "on"); })
      ->add_option("on|off", trace)
      ->check(CLI::IsMember({"on", "off"}))
      ->required();
  parser.add_subcommand("quit", "Leave the prompt")->alias("exit")->callback([&quit] {
    quit = true;
  });
  // The commands have taken the flag over; the prompt itself has "help".
  parser.set_help_flag();
  g_commands.clear();
  for (const CLI::App* known : parser.get_subcommands({})) {
    g_commands.push_back(known->get_name());
  }
  std::string command;
  if (!(std::istringstream(line) >> command)) return true;
  if (command != "exit" && std::count(g_commands.begin(), g_commands.end(), command) == 0) {
    std::cerr << "There is no command " << command << "; \"help\" lists them." << std::endl;
    status = kUsage;
    return true;
  }
  try {
    const Interrupt interrupt(Interrupt::Then::kAbort);
    parser.parse(line);
  } catch (const CLI::Success&) {
    std::cout << parser.get_subcommands().front()->help();
  } catch (const CLI::ParseError& error) {
    std::cerr << error.what() << "; \"" << command << " --help\" tells more." << std::endl;
    status = kUsage;
  } catch (const Failure& failure) {
    session.line.GetTranscript().EndLine();
    std::cerr << failure.what() << std::endl;
    status = failure.status;
  } catch (const std::exception& failure) {
    std::cerr << failure.what() << std::endl;
    status = kUsage;
  }
  return !quit;
}

}  // namespace

int Prompt(Session& session) {
  const bool terminal = isatty(0) == 1;
  const std::string history = HistoryFile();
  int status = kDone;
  // A line that speaks GNP has no list of registers.
  g_numbers = session.gnp ? nullptr : &session.numbers;
  if (terminal) {
    // libedit would hand an interrupt on to every process of the terminal.
    rl_catch_signals = 0;
    using_history();
    stifle_history(1000);
    read_history(history.c_str());
    rl_attempted_completion_function = [](const char* text, int, int) {
      rl_attempted_completion_over = 1;
      return rl_completion_matches(text, NextMatch);
    };
    std::cout << "\"help\" lists the commands, \"quit\" leaves." << std::endl;
  }
  std::string line;
  Run("", session, status);
  while (ReadLine(terminal, line) && Run(line, session, status)) continue;
  return status;
}
