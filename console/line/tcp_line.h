// A line behind a device server that passes the bytes on as they are.
#pragma once

#include "line/descriptor.h"
#include "line/line.h"

class TcpLine : public Line {
 public:
  static constexpr char kPrefix[] = "tcp://";

  /// `name` is "tcp://HOST:PORT", an IPv6 address in brackets.
  TcpLine(const std::string& name, std::shared_ptr<Transcript> transcript);

  int ToPoll() const override { return connection_.Number(); }

 protected:
  bool Open() override;
  void Write(const std::string& bytes) override;
  bool Read(char& byte, std::chrono::milliseconds wait) override;

 private:
  void Note(char byte);
  [[noreturn]] void Lost(int error);

  std::string host_;
  std::string port_;
  std::string server_;  ///< host and port as messages name them
  Descriptor connection_;
  std::string said_;  // the first bytes that came
};
