#include "lab.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

const char* Environment(const char* name) {
  const char* value = std::getenv(name);
  if (value == nullptr) throw std::runtime_error("only for the inside of tests/laboratory");
  return value;
}

}  // namespace

bool WaitFor(const std::function<bool()>& condition, int milliseconds) {
  const auto end = Clock::now() + std::chrono::milliseconds(milliseconds);
  while (!condition()) {
    if (Clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

std::string LabPath(const std::string& name) {
  return std::string(Environment("QMX_LAB")) + "/" + name;
}

std::string Program(const std::string& name) {
  return std::string(Environment("QMX_BIN")) + "/" + name;
}

bool IsPrivate() { return std::getenv("QMX_PRIVATE") != nullptr; }

std::string ReadFile(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

void WriteFile(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

Child::Child(const std::vector<std::string>& command) {
  static int number = 0;
  const std::string base = LabPath("child" + std::to_string(++number));
  output_ = base + ".out";
  errors_ = base + ".err";
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (const std::string& argument : command) {
    arguments.push_back(const_cast<char*>(argument.c_str()));
  }
  arguments.push_back(nullptr);
  id_ = fork();
  if (id_ != 0) return;
  for (int caught = 1; caught < NSIG; ++caught) signal(caught, SIG_DFL);
  constexpr int kFlags = O_WRONLY | O_CREAT | O_TRUNC;
  dup2(open("/dev/null", O_RDONLY), 0);
  dup2(open(output_.c_str(), kFlags, 0600), 1);
  dup2(open(errors_.c_str(), kFlags, 0600), 2);
  for (int descriptor = 3; descriptor < 64; ++descriptor) close(descriptor);
  execvp(arguments[0], arguments.data());
  std::perror(arguments[0]);
  _exit(127);
}

Child::~Child() {
  if (!Running()) return;
  Signal(SIGTERM);
  if (Wait(10000) != -1) return;
  Signal(SIGKILL);
  Wait();
}

void Child::Signal(int signal) const { kill(id_, signal); }

bool Child::Running() {
  if (status_ != -1) return false;
  int status = 0;
  if (waitpid(id_, &status, WNOHANG) != id_) return true;
  status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return false;
}

int Child::Wait(int milliseconds) {
  WaitFor([this] { return !Running(); }, milliseconds);
  return status_;
}

Line::Line() : master_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
  grantpt(master_);
  unlockpt(master_);
  char name[64];
  ptsname_r(master_, name, sizeof name);
  device_ = name;
}

Line::~Line() { close(master_); }

bool Line::Served() const {
  return WaitFor([this] {
    termios line{};
    return tcgetattr(master_, &line) == 0 && line.c_lflag == 0 && line.c_oflag == 0;
  });
}

void Line::Send(const std::string& bytes) const {
  std::size_t sent = 0;
  while (sent < bytes.size()) {
    const ssize_t count = write(master_, bytes.data() + sent, bytes.size() - sent);
    if (count <= 0) return;
    sent += static_cast<std::size_t>(count);
  }
}

std::string Line::Receive(std::size_t count, int milliseconds) const {
  std::string bytes;
  const auto end = Clock::now() + std::chrono::milliseconds(milliseconds);
  while (bytes.size() < count && Clock::now() < end) {
    pollfd ready{master_, POLLIN, 0};
    if (poll(&ready, 1, 10) <= 0) continue;
    char buffer[65536];
    const ssize_t got = read(master_, buffer, std::min(sizeof buffer, count - bytes.size()));
    if (got <= 0) break;
    bytes.append(buffer, static_cast<std::size_t>(got));
  }
  return bytes;
}

std::string Line::ReceiveUntil(const std::string& end, int milliseconds) const {
  std::string bytes;
  while (bytes.size() < end.size() ||
         bytes.compare(bytes.size() - end.size(), end.size(), end) != 0) {
    const std::string byte = Receive(1, milliseconds);
    if (byte.empty()) break;
    bytes += byte;
  }
  return bytes;
}

void Database::Start() {
  server_ = std::make_unique<Child>(
      std::vector<std::string>{"mariadbd", "--defaults-file=" + LabPath("my.cnf")});
  WaitFor([this] {
    connection_ = mysql_init(nullptr);
    const char reconnect = 1;
    mysql_options(connection_, MYSQL_OPT_RECONNECT, &reconnect);
    if (mysql_real_connect(connection_, "127.0.0.1", "root", "", nullptr, 0, nullptr, 0)) {
      return true;
    }
    mysql_close(connection_);
    connection_ = nullptr;
    return !server_->Running();
  });
  if (connection_ == nullptr) throw std::runtime_error("no database server: " + server_->Errors());
  mysql_query(connection_, "CREATE DATABASE IF NOT EXISTS twinex");
  mysql_select_db(connection_, "twinex");
}

void Database::Stop(int signal) {
  mysql_close(connection_);
  connection_ = nullptr;
  server_->Signal(signal);
  server_->Wait();
}

Database::~Database() { Stop(SIGKILL); }

std::vector<std::string> Database::Run(const std::string& statement) {
  if (mysql_query(connection_, statement.c_str()) != 0) {
    throw std::runtime_error(statement + ": " + mysql_error(connection_));
  }
  std::vector<std::string> rows;
  MYSQL_RES* result = mysql_store_result(connection_);
  if (result == nullptr) return rows;
  while (const MYSQL_ROW row = mysql_fetch_row(result)) rows.emplace_back(row[0]);
  mysql_free_result(result);
  return rows;
}

std::string Request(const std::string& text) { return '\x02' + text + '\x03'; }
std::string Reply(const std::string& text) { return Request(text) + "\r\n"; }
