// What the console does with its command line, and the exit status that comes of it.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "line/line.h"

/// Opens the line of that name; throws Failure.
using LineOpener =
    std::function<std::unique_ptr<Line>(const std::string& name, std::shared_ptr<Transcript>)>;

/// Runs the command that is given, or the prompt. The line is opened when it is first needed. What
/// fails is told on standard error. Returns the exit status (line/failure.h, prompt.h).
int RunCommandLine(int argc, const char* const argv[], const LineOpener& open);
