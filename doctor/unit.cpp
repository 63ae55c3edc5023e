#include "doctor/unit.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <sstream>

#include "doctor/command.h"

namespace {

namespace fs = std::filesystem;

constexpr char kPrefix[] = "qmx-gateway@";
constexpr char kSuffix[] = ".service";

/// "serial-by\x2did" is serial/by-id.
std::string Unescaped(const std::string& instance) {
  std::string path;
  for (std::size_t i = 0; i < instance.size(); ++i) {
    if (instance[i] == '-') {
      path += '/';
    } else if (instance.compare(i, 2, "\\x") == 0 && i + 3 < instance.size()) {
      path += static_cast<char>(std::stoi("0" + instance.substr(i + 2, 2), nullptr, 16));
      i += 3;
    } else {
      path += instance[i];
    }
  }
  return path;
}

void AddName(const std::string& name, std::set<std::string>& names) {
  const std::size_t prefix = sizeof kPrefix - 1;
  const std::size_t suffix = sizeof kSuffix - 1;
  if (name.size() > prefix + suffix && name.compare(0, prefix, kPrefix) == 0 &&
      name.compare(name.size() - suffix, suffix, kSuffix) == 0) {
    names.insert(name);
  }
}

bool IsSameDevice(const std::string& one, const std::string& other) {
  struct stat first {};
  struct stat second {};
  return one == other || (stat(one.c_str(), &first) == 0 && stat(other.c_str(), &second) == 0 &&
                          S_ISCHR(first.st_mode) && first.st_rdev == second.st_rdev);
}

}  // namespace

std::string Unit::Property(const std::string& property) const {
  return LineBehind(properties, property + "=");
}

std::string Unit::User() const {
  const std::string user = Property("User");
  return user.empty() ? "qmx" : user;
}

std::string Unit::Restart() const {
  return "systemctl restart " + InShell(name.empty() ? "qmx-gateway@*" : name);
}

std::vector<Unit> FindUnits() {
  std::set<std::string> enabled;
  std::error_code error;
  for (const auto& folder : fs::directory_iterator("/etc/systemd/system", error)) {
    if (folder.path().extension() != ".wants") continue;
    for (const auto& link : fs::directory_iterator(folder.path(), error)) {
      AddName(link.path().filename(), enabled);
    }
  }
  std::set<std::string> names = enabled;
  std::istringstream listed(Run({"systemctl", "list-units", "--all", "--plain", "--no-legend",
                                 std::string(kPrefix) + "*" + kSuffix})
                                .output);
  for (std::string line; std::getline(listed, line);) {
    AddName(line.substr(0, line.find(' ')), names);
  }
  std::vector<Unit> units;
  for (const std::string& name : names) {
    const std::string instance =
        name.substr(sizeof kPrefix - 1, name.size() - sizeof kPrefix + 2 - sizeof kSuffix);
    units.push_back({name, "/dev/" + Unescaped(instance), enabled.count(name) > 0,
                     Run({"systemctl", "show", "--", name}).output});
  }
  return units;
}

Unit UnitOf(const std::string& device, const std::vector<Unit>& units) {
  const auto found = std::find_if(units.begin(), units.end(), [&device](const Unit& unit) {
    return IsSameDevice(unit.device, device);
  });
  return found == units.end() ? Unit{} : *found;
}
