// What can stand where something is being typed at the prompt.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

struct Choices {
  std::vector<std::string> words;
  bool files = false;  ///< the name of a file or device
};

/// What may follow the words before it, the first of which is the command; `begun` is what is there
/// of the word itself. The names of the registers are asked for only where one stands.
Choices ChoicesFor(const CLI::App& parser, std::vector<std::string> before,
                   const std::string& begun,
                   const std::function<std::vector<std::string>()>& registers);
