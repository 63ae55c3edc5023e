// The interactive prompt.
#pragma once

#include "commands.h"
#include "options.h"

/// Reads commands and runs them until the end of the input, "quit", a signal, or, where nobody
/// types, an interrupt; what fails is told and the prompt goes on. In a terminal with history and
/// completion; elsewhere the commands are read line by line. `app` and `options` are those of the
/// command line, which "set" changes. Returns 128 + n when signal n has ended it, otherwise the
/// status of the last command that failed.
int Prompt(Session& session, CLI::App& app, Options& options);
