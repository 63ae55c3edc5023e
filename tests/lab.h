// What tests find in the laboratory: programs, a line, the database server. All waits end with the
// thing waited for, or after a minute: the machine may be loaded, or the programs emulated.
#pragma once

#include <mysql.h>
#include <sys/types.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bytes.h"
#include "line/visible.h"

constexpr int kPatience = 60000;  ///< in milliseconds

/// Waits until the condition holds. Returns whether it did in time.
bool WaitFor(const std::function<bool()>& condition, int milliseconds = kPatience);

/// A folder or file of this laboratory, and one of the programs.
std::string LabPath(const std::string& name);
std::string Program(const std::string& name);

std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& text);

/// Whether the laboratory has namespaces of its own, and so mounts.
bool IsPrivate();

/// A program, started with its signals at their defaults; ended, if need be by force, with the
/// object.
class Child {
 public:
  explicit Child(const std::vector<std::string>& command);
  ~Child();
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  pid_t Id() const { return id_; }
  void Signal(int signal) const;
  bool Running();

  /// Waits for the end; the exit status, 128 + n after signal n, -1 when it does not end.
  int Wait(int milliseconds = kPatience);

  /// What it has printed so far on standard output and standard error.
  std::string Output() const { return ReadFile(output_); }
  std::string Errors() const { return ReadFile(errors_); }

 private:
  pid_t id_;
  int status_ = -1;
  std::string output_;
  std::string errors_;
};

/// A pseudo-terminal: this end is the data logger's.
class Line {
 public:
  Line();
  ~Line();
  Line(const Line&) = delete;
  Line& operator=(const Line&) = delete;

  const std::string& Device() const { return device_; }
  int Master() const { return master_; }

  /// Waits until somebody has set the other end to raw bytes; what is sent before is lost.
  bool Served() const;

  void Send(const std::string& bytes) const;

  /// Receives this many bytes, or fewer when no more come in time.
  std::string Receive(std::size_t count, int milliseconds = kPatience) const;

  /// Receives up to and including this text.
  std::string ReceiveUntil(const std::string& end, int milliseconds = kPatience) const;

 private:
  int master_;
  std::string device_;
};

/// The database server, and a connection to it for the test itself.
class Database {
 public:
  Database() { Start(); }
  ~Database();

  void Start();
  void Stop(int signal);

  /// Runs a statement in database twinex; the first field of each row, which is not NULL.
  std::vector<std::string> Run(const std::string& statement);

 private:
  std::unique_ptr<Child> server_;
  MYSQL* connection_ = nullptr;
};

/// The frames of an AK request and of a reply: the text between STX and ETX, and CR LF behind it.
std::string Request(const std::string& text);
std::string Reply(const std::string& text);
