#include "line/serial_line.h"

#include <fcntl.h>
#include <glob.h>
#include <grp.h>
#include <poll.h>
#include <pwd.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "line/failure.h"
#include "serial/line_settings.h"

namespace {

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

std::string WhyNotOpened(const std::string& device, int error) {
  std::string cause = device + " cannot be opened: " + std::strerror(error) + ".";
  if (error == EACCES || error == EPERM) return cause + WhoMayOpen(device);
  if (error == ENOENT || error == ENODEV || error == ENXIO) {
    return cause + " Serial devices here:" + SerialDevices() + ".";
  }
  return cause;
}

}  // namespace

SerialLine::SerialLine(std::string device, std::shared_ptr<Transcript> transcript)
    : Line(std::move(transcript)), device_(std::move(device)) {
  SerialLine::Open();
}

bool SerialLine::Open() {
  if (port_.IsOpen()) return false;
  // Without O_NONBLOCK a port that waits for a modem would not open.
  Descriptor port(open(device_.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  if (!port.IsOpen()) throw Failure(kNoDevice, WhyNotOpened(device_, errno));
  std::string problem;
  termios line{};
  if (tcgetattr(port.Number(), &line) != 0) {
    problem = " is no serial device.";
  } else if (IsOurTerminal(port.Number())) {
    problem = " is the terminal of this console.";
  } else if (const auto owner = lock_.Take(device_)) {
    problem = " is in use by " + Describe(*owner) + ".";
  } else {
    SetLine(line);
    if (tcsetattr(port.Number(), TCSANOW, &line) != 0) problem = " does not take 9600 baud, 8N2.";
  }
  if (!problem.empty()) throw Failure(kNoDevice, device_ + problem);
  port_ = std::move(port);
  return true;
}

void SerialLine::Lost(int error) {
  port_.Close();
  lock_.Release();
  throw Failure(kNoDevice, "The serial device is gone: " + std::string(std::strerror(error)) + ".");
}

void SerialLine::Write(const std::string& bytes) {
  const int error = port_.Write(bytes);
  if (error != 0) Lost(error);
}

bool SerialLine::Read(char& byte, std::chrono::milliseconds wait) {
  Open();
  const short events = port_.Wait(POLLIN, wait);
  if (events == 0 || read(port_.Number(), &byte, 1) == 1) return events != 0;
  if ((events & (POLLHUP | POLLERR | POLLNVAL)) != 0) Lost(EIO);
  return false;
}
