// Parts of the console that see bytes behind its entrances. Each takes one input and aborts when
// the part does what it must not.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

inline void Require(bool held) {
  if (!held) std::abort();
}

/// A file for what a target keeps, removed at the end of the process.
class Scratch {
 public:
  explicit Scratch(const char* ending)
      : path(std::filesystem::temp_directory_path() /
             ("qmx-fuzz." + std::to_string(getpid()) + ending)) {}
  ~Scratch() {
    std::error_code error;
    std::filesystem::remove(path, error);
    std::filesystem::remove(path + ".rejected", error);
  }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  const std::string path;
};

/// Words that name registers: the word, a zero byte, and the names there are, each behind a blank.
void RegisterWords(const std::string& input);

/// Requests to a gateway and replies to them, some held and some lost; each byte is one step. What
/// is taken for the reply to the last request must be that.
void Attributions(const std::string& input);

/// A file that a download continues, with the input as what it held: it keeps its whole lines, and
/// has what is added in its place, once. Or it is refused, and stays as it was.
void ContinuedFiles(const std::string& input);

/// The file of a watch, with the input as what it held; and its table, with the input as values.
void Watches(const std::string& input);
