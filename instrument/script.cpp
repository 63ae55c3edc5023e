#include "script.h"

#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>

Script::Script(const std::string& file) {
  std::ifstream text(file);
  Objects trial;
  std::string line;
  long second = 0;
  for (int number = 1; std::getline(text, line); ++number) {
    std::string word;
    long seconds = -1;
    std::istringstream words(line);
    if (!(words >> word) || word[0] == '#') continue;
    try {
      if (word == "wait" && words >> seconds && seconds >= 0) {
        second += seconds;
      } else if (trial.Follow(line)) {
        lines_.push_back({second, line});
      } else {
        throw std::runtime_error("neither register, absent, fault, behave nor wait: " + line);
      }
    } catch (const std::runtime_error& error) {
      throw std::runtime_error(file + ": line " + std::to_string(number) + ": " + error.what());
    }
  }
}

void Script::Tick(Objects& objects) {
  for (; next_ < lines_.size() && lines_[next_].second <= now_; ++next_) {
    std::printf("%s\n", lines_[next_].text.c_str());
    objects.Follow(lines_[next_].text);
  }
  ++now_;
}
