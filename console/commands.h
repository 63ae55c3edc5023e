// The commands of the console, the same on the command line and at the prompt.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>

#include "logger.h"
#include "register_numbers.h"
#include "report.h"

/// What all commands work with.
struct Session {
  Logger& logger;
  RegisterNumbers& numbers;
  const Report& report;
  bool gnp;  ///< --protocol gnp
};

/// A check for options that are numbers of so many digits.
std::function<std::string(const std::string&)> Digits(std::size_t count);

/// Adds the commands to a parser. A command runs while it is parsed; it calls `session` first,
/// which may open the line, and throws Failure.
void AddCommands(CLI::App& parser, const std::function<Session&()>& session);
