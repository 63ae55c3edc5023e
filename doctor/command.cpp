#include "doctor/command.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

Ended Run(const std::vector<std::string>& command) {
  using Clock = std::chrono::steady_clock;
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return {127, ""};
  const pid_t process = fork();
  if (process == 0) {
    const int nothing = open("/dev/null", O_RDWR);
    dup2(nothing, 0);
    dup2(ends[1], 1);
    dup2(nothing, 2);
    execvp(arguments[0], arguments.data());
    _exit(127);
  }
  close(ends[1]);
  Ended ended{-1, ""};
  const auto end = Clock::now() + std::chrono::seconds(3);
  while (true) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
    pollfd ready{ends[0], POLLIN, 0};
    char bytes[4096];
    const bool more = left > 0 && poll(&ready, 1, static_cast<int>(left)) > 0;
    const ssize_t count = more ? read(ends[0], bytes, sizeof bytes) : -1;
    if (count == 0) break;
    if (count < 0) {
      kill(process, SIGKILL);
      break;
    }
    ended.output.append(bytes, static_cast<std::size_t>(count));
  }
  close(ends[0]);
  int status = 0;
  waitpid(process, &status, 0);
  if (WIFEXITED(status)) ended.status = WEXITSTATUS(status);
  return ended;
}

std::string LineBehind(const std::string& text, const std::string& before) {
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (line.compare(0, before.size(), before) == 0) return line.substr(before.size());
  }
  return "";
}

std::string InShell(const std::string& word) {
  const bool plain = std::all_of(word.begin(), word.end(), [](unsigned char character) {
    return std::isalnum(character) != 0 || std::strchr("@%_-+=:,./", character) != nullptr;
  });
  if (plain) return word;
  std::string quoted = "'";
  for (const char character : word) {
    quoted += character == '\'' ? "'\\''" : std::string(1, character);
  }
  return quoted + "'";
}

std::string ReadFile(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

long ProcessNamed(const std::vector<std::string>& names) {
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/proc", error)) {
    const long process = std::atol(entry.path().filename().c_str());
    if (process <= 0) continue;
    std::string name;
    std::ifstream comm(entry.path() / "comm");
    std::getline(comm, name);
    if (std::find(names.begin(), names.end(), name) != names.end()) return process;
  }
  return 0;
}
