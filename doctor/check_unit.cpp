#include <sstream>

#include "doctor/checks.h"
#include "doctor/command.h"
#include "doctor/explanation.h"
#include "doctor/pages.h"

namespace {

/// The last line of the last hour that the man page explains, and what it says about it.
std::string LastMessage(const Unit& unit) {
  std::istringstream journal(Run({"journalctl", "-u", unit.name, "-o", "cat", "--since=-1h", "-n",
                                  "200", "--no-pager", "-q"})
                                 .output);
  std::string last;
  for (std::string line; std::getline(journal, line);) {
    const std::string explanation = Explanation(line);
    if (!explanation.empty()) last = "said last \"" + line + "\": " + explanation;
  }
  return last;
}

}  // namespace

void CheckUnit(const Unit& unit, Report& report) {
  if (unit.properties.empty()) {
    report.Skip("unit",
                unit.name.empty() ? "no unit serves this device" : "systemd does not run here");
    return;
  }
  const std::string state = unit.Property("ActiveState");
  const std::string restarts = unit.Property("NRestarts");
  report.Measure("unit_restarts_total", std::atof(restarts.c_str()));
  report.Measure("unit_active", state == "active" ? 1 : 0);
  const std::string message = LastMessage(unit);
  const std::string text = unit.name + " is " + state + " (" + unit.Property("SubState") + "), " +
                           restarts + " restarts, last exit status " +
                           unit.Property("ExecMainStatus") + (message.empty() ? "" : "; ") +
                           message;
  const std::string journal = "journalctl -u " + InShell(unit.name);
  if (state != "active") {
    report.Fault("unit", text,
                 state == "inactive" ? "systemctl enable --now " + InShell(unit.name) : journal,
                 kPortPage);
  } else if (!message.empty()) {
    report.Look("unit", text, journal, kSilentPage);
  } else if (!unit.enabled) {
    report.Look("unit", text + "; it does not start with the machine",
                "systemctl enable " + InShell(unit.name), kPortPage);
  } else {
    report.Ok("unit", text);
  }
}
