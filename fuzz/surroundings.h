// Surroundings of the daemon made from the fuzzer's bytes: line, agent, database, files, clock.
//
// They take the place of the libraries' functions when the program is linked (--wrap), so that the
// daemon's own code runs unchanged. Where the bytes end, an honest instrument answers.
#pragma once

#include <functional>
#include <string>

/// Runs `served` with a line that brings `line`, and all else from `bytes`. Ends when `served`
/// returns, when it waits for more than the line has, or when it ends the process. Aborts when the
/// shell or the database is handed something that must not reach them.
void WithSurroundings(const std::string& line, const std::string& bytes,
                      const std::function<void()>& served);

/// The device path that stands for the line; what is sent goes nowhere.
constexpr char kFuzzLine[] = "/dev/null";
