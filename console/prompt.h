// The interactive prompt.
#pragma once

#include "commands.h"

/// Reads commands until the end of the input or "quit" and runs them; what fails is told and the
/// prompt goes on. In a terminal with history and completion of commands and register names;
/// elsewhere the commands are read line by line. Returns the status of the last command that
/// failed.
int Prompt(Session& session);
