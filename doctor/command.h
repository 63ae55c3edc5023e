// Other programs, asked for what they know.
#pragma once

#include <string>
#include <vector>

struct Ended {
  int status;          ///< exit status; 127 when there is no such program, -1 when it was too slow
  std::string output;  ///< of standard output
};

/// Runs a program without a shell; ends it after 3 s.
Ended Run(const std::vector<std::string>& command);

/// The text between `before` and the end of its line, or an empty one.
std::string LineBehind(const std::string& text, const std::string& before);

/// The word as a shell takes it: in quotes where it would read it otherwise, as in serial-by\x2did.
std::string InShell(const std::string& word);

std::string ReadFile(const std::string& path);

/// The number of a process of one of these names, or 0.
long ProcessNamed(const std::vector<std::string>& names);
