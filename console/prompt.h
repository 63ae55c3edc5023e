// The interactive prompt.
#pragma once

#include "commands.h"
#include "options.h"

/// Reads commands until the end of the input or "quit" and runs them; what fails is told and the
/// prompt goes on. In a terminal with history and completion; elsewhere the commands are read line
/// by line. `app` and `options` are those of the command line, which "set" changes. Returns the
/// status of the last command that failed.
int Prompt(Session& session, CLI::App& app, Options& options);
