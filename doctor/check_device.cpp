#include <fcntl.h>
#include <fnmatch.h>
#include <linux/serial.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <grp.h>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <sstream>

#include "doctor/as_user.h"
#include "doctor/checks.h"
#include "doctor/command.h"
#include "doctor/pages.h"
#include "port/owner.h"
#include "serial/serial_port.h"

namespace {

constexpr char kGateway[] = "qmx-gateway";

/// Names that drivers have registered for this major number: ttyS, ttyUSB.
std::vector<std::string> DriversOf(unsigned majorNumber) {
  std::vector<std::string> drivers;
  std::istringstream lines(ReadFile("/proc/devices"));
  for (std::string line; std::getline(lines, line) && line.find("Block") != 0;) {
    std::istringstream words(line);
    unsigned number = 0;
    std::string name;
    if (words >> number >> name && number == majorNumber) drivers.push_back(name);
  }
  return drivers;
}

bool IsUSB(const struct stat& status) {
  for (const std::string& driver : DriversOf(major(status.st_rdev))) {
    if (driver == "ttyUSB" || driver == "ttyACM") return true;
  }
  return false;
}

/// Whether DeviceAllow= of the unit, one line each, names one of the drivers or the device itself.
bool IsAllowed(const Unit& unit, const std::vector<std::string>& drivers,
               const struct stat& status) {
  if (unit.properties.empty() || unit.Property("DevicePolicy") == "auto") return true;
  std::istringstream lines(unit.properties);
  for (std::string line; std::getline(lines, line);) {
    const std::string allowed = LineBehind(line, "DeviceAllow=");
    const std::string what = allowed.substr(0, allowed.find(' '));
    struct stat named {};
    if (stat(what.c_str(), &named) == 0 && named.st_rdev == status.st_rdev) return true;
    for (const std::string& driver : drivers) {
      if (fnmatch(what.c_str(), ("char-" + driver).c_str(), 0) == 0) return true;
    }
  }
  return false;
}

/// Whether the service may open the device; what hinders it is reported.
bool MayBeOpened(const std::string& device, const struct stat& status, const Unit& unit,
                 Report& report) {
  const std::string groups = unit.Property("SupplementaryGroups");
  const auto may = AsUser(unit.User(), groups.empty() ? "dialout" : groups,
                          [&device] { return access(device.c_str(), R_OK | W_OK) == 0; });
  if (may == false) {
    const ::group* owner = getgrgid(status.st_gid);
    const std::string name = owner == nullptr ? std::to_string(status.st_gid) : owner->gr_name;
    report.Fault(
        "device",
        Text("%s may not be opened by user %s: it belongs to group %s, mode %03o", device.c_str(),
             unit.User().c_str(), name.c_str(), status.st_mode & 0777),
        Text("systemctl edit qmx-gateway@  # [Service] SupplementaryGroups=%s", name.c_str()),
        kOpenPage);
    return false;
  }
  const std::vector<std::string> drivers = DriversOf(major(status.st_rdev));
  if (drivers.empty() || IsAllowed(unit, drivers, status)) return true;
  report.Fault("device",
               Text("%s has driver %s, which DeviceAllow= of the unit does not name",
                    device.c_str(), drivers.front().c_str()),
               Text("systemctl edit qmx-gateway@  # [Service] DeviceAllow=char-%s rw",
                    drivers.front().c_str()),
               kOpenPage);
  return false;
}

/// The system service that the process belongs to; empty when it is none.
std::string SystemUnitOf(long process) {
  std::istringstream groups(ReadFile(Text("/proc/%ld/cgroup", process)));
  for (std::string group; std::getline(groups, group);) {
    const std::size_t slice = group.find(":/system.slice/");
    const std::size_t unit = group.rfind('/') + 1;
    if (slice != std::string::npos && group.find(".service", unit) == group.size() - 8) {
      return group.substr(unit);
    }
  }
  return "";
}

/// A command that makes this one give up the port.
std::string Eviction(const Owner& owner, const std::string& device, const std::string& port) {
  if (owner.process == 0) return "qmx-port " + InShell(device) + "  # as root";
  if (owner.program.find("getty") != std::string::npos || owner.program == "login") {
    return "systemctl mask --now serial-getty@" + port + ".service";
  }
  const std::string unit = SystemUnitOf(owner.process);
  if (!unit.empty()) return "systemctl disable --now " + InShell(unit);
  return Text("kill %ld", owner.process);
}

/// Who has the port, and who has it beside the gateway.
void CheckOwners(const std::string& device, const std::string& port, const Unit& unit,
                 Report& report) {
  bool sawAll = true;
  std::vector<Owner> gateways;
  std::vector<Owner> others;
  for (const Owner& owner : PortOwners(device, &sawAll)) {
    (owner.program == kGateway ? gateways : others).push_back(owner);
  }
  report.Measure("port_users", static_cast<double>(gateways.size() + others.size()));
  for (const Owner& other : others) {
    report.Fault("port",
                 device + (other.how == How::kOpen ? " is also open in " : " is locked by ") +
                     Describe(other) +
                     (other.how == How::kOpen
                          ? ", without a lock: each byte that comes reaches only one of them"
                          : ": the gateway waits until it is free"),
                 Eviction(other, device, port), kPortPage);
  }
  if (gateways.size() > 1) {
    report.Fault("port",
                 "two gateways have " + device + ": " + Describe(gateways[0]) + " and " +
                     Describe(gateways[1]),
                 Eviction(gateways[1], device, port), kPortPage);
  }
  if (!others.empty() || gateways.size() > 1) return;
  if (gateways.empty() && sawAll) {
    report.Fault("port", "no gateway has " + device + ": it does not run",
                 unit.name.empty() ? "systemctl enable --now qmx-gateway@" + port : unit.Restart(),
                 kPortPage);
  } else if (gateways.empty()) {
    report.Unchecked("port", "only root sees who has " + device);
  } else {
    report.Ok("port", Describe(gateways[0]) + " has " + device + " alone");
  }
}

void CheckRivals(const std::string& device, const std::string& port, const struct stat& status,
                 Report& report) {
  const std::string number = Text(" %u:%u", major(status.st_rdev), minor(status.st_rdev));
  std::istringstream consoles(ReadFile("/proc/consoles"));
  for (std::string line; std::getline(consoles, line);) {
    if (line.size() < number.size() ||
        line.compare(line.size() - number.size(), number.size(), number) != 0) {
      continue;
    }
    report.Look("console", "the kernel writes its messages to " + device,
                "sed -i 's/console=" + port + "[^ \"]*//' /etc/default/grub && update-grub",
                kPortPage);
  }
  if (!IsUSB(status) || ProcessNamed({"ModemManager"}) == 0) return;
  const std::string known = Run({"udevadm", "info", "-q", "property", "-n", device}).output;
  if (known.find("ID_MM_DEVICE_IGNORE=1") != std::string::npos) return;
  report.Look("modem", "ModemManager runs and may try out what is connected to " + device,
              "systemctl disable --now ModemManager", kPortPage);
}

void CheckCounters(const std::string& device, Report& report) {
  const int descriptor = open(device.c_str(), O_RDONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  serial_icounter_struct counters{};
  const bool counted = descriptor >= 0 && ioctl(descriptor, TIOCGICOUNT, &counters) == 0;
  if (descriptor >= 0) close(descriptor);
  if (!counted) {
    report.Skip("bytes", "the driver of " + device + " counts none");
    return;
  }
  // The kernel's counters are unsigned, and start again behind 4 GB.
  const auto received = static_cast<unsigned>(counters.rx);
  const auto sent = static_cast<unsigned>(counters.tx);
  const auto frames = static_cast<unsigned>(counters.frame);
  const auto overruns =
      static_cast<unsigned>(counters.overrun) + static_cast<unsigned>(counters.buf_overrun);
  report.Measure("received_bytes_total", received);
  report.Measure("sent_bytes_total", sent);
  report.Measure("framing_errors_total", frames);
  report.Measure("overruns_total", overruns);
  const std::string text =
      Text("%u bytes received, %u sent, %u framing errors, %u overruns since the driver was loaded",
           received, sent, frames, overruns);
  const std::string watch = "watch -d qmx-doctor " + InShell(device);
  if (received == 0) {
    report.Look("bytes", text + ": the logger sends nothing, or the cable does not carry it", watch,
                kSilentPage);
  } else if (frames > received / 100) {
    report.Look("bytes", text + ": speed, or the cable", watch, kSilentPage);
  } else if (overruns > 0) {
    report.Look("bytes", text + ": the machine was too busy to take them", watch, kSilentPage);
  } else {
    report.Ok("bytes", text);
  }
}

}  // namespace

void CheckDevice(const std::string& device, const Unit& unit, Report& report) {
  struct stat status {};
  if (device.empty()) {
    report.Unchecked("device",
                     "no line is enabled: name the device, such as qmx-doctor /dev/ttyS0");
    return;
  }
  if (stat(device.c_str(), &status) != 0) {
    report.Fault("device", device + " is not there: " + std::strerror(errno),
                 "ls -l /dev/serial/by-id /dev/ttyS* /dev/ttyUSB* /dev/ttyACM*", kMissingPage);
    return;
  }
  if (!S_ISCHR(status.st_mode)) {
    report.Fault("device", device + " is no device", "ls -l " + InShell(device), kOpenPage);
    return;
  }
  std::error_code error;
  const std::string path = std::filesystem::canonical(device, error);
  const std::string port = std::filesystem::path(path).filename();
  if (path.size() >= kDevicePathSize) {
    report.Fault("device",
                 Text("%s has %zu characters, the gateway takes %d", path.c_str(), path.size(),
                      kDevicePathSize - 1),
                 "editor /etc/udev/rules.d/90-logger.rules  # SYMLINK+=\"logger\"", kNamePage);
    return;
  }
  if (!MayBeOpened(device, status, unit, report)) return;
  report.Ok("device", path == device ? device : device + " is " + path);
  CheckOwners(device, port, unit, report);
  CheckRivals(device, port, status, report);
  CheckCounters(device, report);
}
