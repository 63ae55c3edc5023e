#include "line/tcp_line.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "line/failure.h"
#include "line/visible.h"
#include "serial/control_bytes.h"

namespace {

/// How long a device server has to take the connection.
constexpr std::chrono::seconds kConnecting(5);

/// A device server that is busy says so in a line.
constexpr std::size_t kLongestWord = 80;

/// Connects to one address. Returns 0, or the error.
int Connect(const addrinfo& address, Descriptor& connection) {
  Descriptor trial(socket(address.ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (!trial.IsOpen()) return errno;
  if (connect(trial.Number(), address.ai_addr, address.ai_addrlen) != 0) {
    if (errno != EINPROGRESS) return errno;
    if (trial.Wait(POLLOUT, kConnecting) == 0) return ETIMEDOUT;
    int error = 0;
    socklen_t size = sizeof error;
    if (getsockopt(trial.Number(), SOL_SOCKET, SO_ERROR, &error, &size) != 0) return errno;
    if (error != 0) return error;
  }
  const int on = 1;
  setsockopt(trial.Number(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  setsockopt(trial.Number(), SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
  connection = std::move(trial);
  return 0;
}

std::string WhyNotConnected(const std::string& server, int error) {
  std::string cause = server + " cannot be reached: " + std::strerror(error) + ".";
  if (error == ECONNREFUSED) cause += " Nothing listens there: check the port's number.";
  if (error == ETIMEDOUT) cause += " Check the address, the network, and that the server is on.";
  return cause;
}

}  // namespace

TcpLine::TcpLine(const std::string& name, std::shared_ptr<Transcript> transcript)
    : Line(std::move(transcript)), server_(name.substr(sizeof kPrefix - 1)) {
  const std::size_t colon = server_.rfind(':');
  if (colon != std::string::npos) {
    host_ = server_.substr(0, colon);
    port_ = server_.substr(colon + 1);
  }
  if (host_.size() > 2 && host_.front() == '[' && host_.back() == ']') {
    host_ = host_.substr(1, host_.size() - 2);
  }
  if (host_.empty() || port_.empty() || port_.size() > 5 ||
      port_.find_first_not_of("0123456789") != std::string::npos || std::stoi(port_) > 65535) {
    throw Failure(kUsage, "A device server is named tcp://HOST:PORT, not " + name + ".");
  }
  TcpLine::Open();
}

bool TcpLine::Open() {
  if (connection_.IsOpen()) return false;
  said_.clear();
  addrinfo wanted{};
  wanted.ai_socktype = SOCK_STREAM;
  wanted.ai_flags = AI_NUMERICSERV;
  addrinfo* found = nullptr;
  const int unknown = getaddrinfo(host_.c_str(), port_.c_str(), &wanted, &found);
  if (unknown != 0) {
    throw Failure(kNoDevice, server_ + " cannot be reached: " + gai_strerror(unknown) + ".");
  }
  const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> addresses(found, freeaddrinfo);
  int error = 0;
  for (const addrinfo* address = found; address != nullptr; address = address->ai_next) {
    error = Connect(*address, connection_);
    if (error == 0) return true;
  }
  throw Failure(kNoDevice, WhyNotConnected(server_, error));
}

void TcpLine::Lost(int error) {
  connection_.Close();
  if (error != 0) {
    throw Failure(kNoDevice,
                  "The connection to " + server_ + " is lost: " + std::strerror(error) + ".");
  }
  const bool frames = said_.find(kSTX) != std::string::npos;
  const std::string word = said_.substr(0, said_.find_last_not_of("\r\n") + 1);
  throw Failure(kNoDevice, "The device server " + server_ + " closed the connection" +
                               (word.empty() || frames ? ": its line may be in use, or have failed."
                                                       : ", saying: " + Visible(word)));
}

/// Keeps the first bytes; they tell a server that does not pass on the line's bytes alone.
void TcpLine::Note(char byte) {
  if (said_.size() == kLongestWord) return;
  said_ += byte;
  // Telnet's commands WILL, WONT, DO and DONT.
  if (said_.size() != 2 || said_[0] != '\xFF' || static_cast<unsigned char>(byte) < 0xFB) return;
  throw Failure(kNoDevice, "The device server " + server_ +
                               " speaks telnet: set this port of it to pass raw bytes.");
}

void TcpLine::Write(const std::string& bytes) {
  const int error = connection_.Write(bytes);
  if (error != 0) Lost(error);
}

bool TcpLine::Read(char& byte, std::chrono::milliseconds wait) {
  Open();
  if (connection_.Wait(POLLIN, wait) == 0) return false;
  const ssize_t count = read(connection_.Number(), &byte, 1);
  if (count == 1) {
    Note(byte);
    return true;
  }
  if (count < 0 && (errno == EAGAIN || errno == EINTR)) return false;
  Lost(count == 0 ? 0 : errno);
}
