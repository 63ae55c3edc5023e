#include "line/serial_line.h"

#include <fcntl.h>
#include <glob.h>
#include <grp.h>
#include <poll.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>

#include "line/failure.h"
#include "line/interrupt.h"
#include "line/visible.h"
#include "serial/line_settings.h"

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

std::string SerialDevices() {
  std::string names;
  glob_t found{};
  glob("/dev/serial/by-id/*", 0, nullptr, &found);
  glob("/dev/ttyUSB*", GLOB_APPEND, nullptr, &found);
  glob("/dev/ttyACM*", GLOB_APPEND, nullptr, &found);
  for (std::size_t i = 0; i < found.gl_pathc; ++i) names += std::string(" ") + found.gl_pathv[i];
  globfree(&found);
  return names.empty() ? " none plugged in; built-in ones are /dev/ttyS0 and following" : names;
}

std::string WhoMayOpen(const std::string& device) {
  struct stat status {};
  if (stat(device.c_str(), &status) != 0) return "";
  const passwd* owner = getpwuid(status.st_uid);
  const std::string ownerName =
      owner != nullptr ? owner->pw_name : "user " + std::to_string(status.st_uid);
  const group* members = getgrgid(status.st_gid);
  const std::string groupName =
      members != nullptr ? members->gr_name : "group " + std::to_string(status.st_gid);
  const std::string whose = " It belongs to " + ownerName + " and group " + groupName;
  constexpr mode_t kGroupMay = S_IRGRP | S_IWGRP;
  if (status.st_gid == 0 || (status.st_mode & kGroupMay) != kGroupMay) {
    return whose + ", which is no group to join for it: give it a group by a udev rule.";
  }
  const passwd* self = getpwuid(geteuid());
  return whose + ". Join the group: sudo adduser " + (self != nullptr ? self->pw_name : "YOU") +
         " " + groupName + ", then log in again.";
}

bool IsOurTerminal(int descriptor) {
  struct stat device {};
  struct stat ours {};
  fstat(descriptor, &device);
  return isatty(0) == 1 && fstat(0, &ours) == 0 && ours.st_rdev == device.st_rdev;
}

std::string WhyNot(const std::string& device, int error) {
  std::string cause = device + " cannot be opened: " + std::strerror(error) + ".";
  if (error == EACCES || error == EPERM) return cause + WhoMayOpen(device);
  if (error == ENOENT || error == ENODEV || error == ENXIO) {
    return cause + " Serial devices here:" + SerialDevices() + ".";
  }
  return cause;
}

}  // namespace

SerialLine::SerialLine(const std::string& device) {
  // Without O_NONBLOCK a port that waits for a modem would not open.
  descriptor_ = open(device.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  if (descriptor_ < 0) throw Failure(kNoDevice, WhyNot(device, errno));
  std::string problem;
  termios line{};
  if (tcgetattr(descriptor_, &line) != 0) {
    problem = " is no serial device.";
  } else if (IsOurTerminal(descriptor_)) {
    problem = " is the terminal of this console.";
  } else if (flock(descriptor_, LOCK_EX | LOCK_NB) != 0) {
    problem = " is in use by another console.";
  } else {
    SetLine(line);
    if (tcsetattr(descriptor_, TCSANOW, &line) != 0) problem = " does not take 9600 baud, 8N2.";
  }
  if (!problem.empty()) {
    close(descriptor_);
    throw Failure(kNoDevice, device + problem);
  }
  Discard(milliseconds(100), std::chrono::minutes(1));
}

SerialLine::~SerialLine() {
  EndTrace();
  close(descriptor_);
}

void SerialLine::Discard(milliseconds quiet, milliseconds limit) {
  tcflush(descriptor_, TCIFLUSH);
  const auto end = Clock::now() + limit;
  // The rest of a reply that nobody waited for may still be on its way.
  char byte = 0;
  while (Receive(byte, quiet)) {
    if (Clock::now() < end) continue;
    throw Failure(kBroken,
                  "The line does not fall silent: another program talks to the gateway, or "
                  "its speed is not 9600 baud.");
  }
  EndTrace();
}

void SerialLine::Send(const std::string& bytes) {
  Discard(milliseconds(0), std::chrono::seconds(10));
  if (trace_) std::cerr << "> " << Visible(bytes) << std::endl;
  std::size_t sent = 0;
  while (sent < bytes.size()) {
    const ssize_t count = write(descriptor_, bytes.data() + sent, bytes.size() - sent);
    if (count > 0) {
      sent += static_cast<std::size_t>(count);
    } else if (count < 0 && errno == EAGAIN) {
      pollfd room{descriptor_, POLLOUT, 0};
      poll(&room, 1, 100);
    } else if (errno != EINTR) {
      throw Failure(kNoDevice, std::string("The serial device is gone: ") + std::strerror(errno));
    }
  }
}

bool SerialLine::Receive(char& byte, milliseconds wait) {
  const auto end = Clock::now() + wait;
  pollfd ready{descriptor_, POLLIN, 0};
  while (true) {
    const auto left = std::chrono::ceil<milliseconds>(end - Clock::now());
    const int events = poll(&ready, 1, std::max(0, static_cast<int>(left.count())));
    Interrupt::Check();
    if (events > 0) break;
    if (events == 0) return false;
    if (errno != EINTR) throw Failure(kNoDevice, "The serial device is gone.");
  }
  if (read(descriptor_, &byte, 1) != 1) {
    if ((ready.revents & (POLLHUP | POLLERR)) != 0) {
      throw Failure(kNoDevice, "The serial device is gone.");
    }
    return false;
  }
  if (trace_) {
    received_ += byte;
    if (byte == '\n') EndTrace();
  }
  return true;
}

void SerialLine::EndTrace() {
  if (!received_.empty()) std::cerr << "< " << Visible(received_) << std::endl;
  received_.clear();
}
