#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "doctor/as_user.h"
#include "doctor/checks.h"
#include "doctor/command.h"
#include "doctor/pages.h"
#include "doctor/walk.h"
#include "registers/register_map.h"
#include "registers/walk_plan.h"
#include "snmp/agent.h"

namespace {

std::string WalkCommand() {
  return Text("snmpwalk -v1 -c %s %s cobaltRGX", kCommunity, kAgentHost);
}

std::string Folder() { return std::filesystem::path(kRegisterListPath).parent_path(); }

/// Whether the list can be written by the user of the service; what hinders it is reported.
bool MayBeWritten(const Unit& unit, Report& report) {
  const std::string folder = Folder();
  struct statvfs disk {};
  if (statvfs(folder.c_str(), &disk) != 0) {
    report.Fault("list", folder + " is not there: the gateway ends with status 255",
                 "systemd-tmpfiles --create qmx-gateway.conf", kListPage);
    return false;
  }
  if ((disk.f_flag & ST_RDONLY) != 0) {
    report.Fault(
        "list",
        folder + " is on a disk that is mounted read-only: the gateway ends with status 255",
        "mount -o remount,rw " + folder, kListPage);
    return false;
  }
  if (disk.f_bavail == 0 || (disk.f_files > 0 && disk.f_favail == 0)) {
    report.Fault("list",
                 "the disk that holds " + folder + " is full: no register list can be written",
                 "df -h " + folder, kListPage);
    return false;
  }
  const auto may = AsUser(unit.User(), {}, [&folder] {
    return access(kRegisterListPath, F_OK) == 0
               ? access(kRegisterListPath, R_OK | W_OK) == 0 &&
                     !std::filesystem::is_directory(kRegisterListPath)
               : access(folder.c_str(), W_OK | X_OK) == 0;
  });
  if (may == false) {
    report.Fault("list",
                 Text("%s cannot be written by user %s: the gateway ends with status 255",
                      kRegisterListPath, unit.User().c_str()),
                 Text("chown -R %s: %s", unit.User().c_str(), folder.c_str()), kListPage);
    return false;
  }
  return true;
}

bool SubtreesAreKnown(int type, Report& report) {
  for (const WalkPlan& plan : kWalkPlans) {
    for (const PlannedWalk* walk = plan.walks;
         plan.instrumentType == type && walk->subtree != nullptr; ++walk) {
      if (Agent::KnowsSubtree(walk->subtree)) continue;
      report.Fault(
          "modules",
          Text("the MIB modules do not define %s: the gateway ends with status 1", walk->subtree),
          Text("snmptranslate -IR %s", walk->subtree), kModulesPage);
      return false;
    }
  }
  return true;
}

void Compare(const Listed& walked, const Unit& unit, Report& report) {
  const std::string list = ReadFile(kRegisterListPath);
  const auto registers = [](const std::string& text) {
    return static_cast<long>(std::count(text.begin(), text.end(), '\n'));
  };
  report.Measure("registers", static_cast<double>(registers(list)));
  if (list.empty()) {
    report.Fault("list",
                 Text("%s is not there or empty: no register has a number", kRegisterListPath),
                 unit.Restart(), kListPage);
  } else if (walked.tooSlow) {
    report.Look("list",
                "a walk of the registers takes more than 8 s: the gateway starts, and answers "
                "LPRC, that much later",
                "time " + WalkCommand(), kAgentPage);
  } else if (list == walked.list) {
    const std::size_t last = list.rfind('\n', list.size() - 2) + 1;
    report.Ok("list",
              Text("%ld registers, as the agent has them; the highest number is %s",
                   registers(list), list.substr(last, list.find(';', last) - last).c_str()));
  } else {
    report.Look("list",
                Text("%s has %ld registers, a walk of the agent %ld or others: numbers follow the "
                     "old list until LPRC or a restart",
                     kRegisterListPath, registers(list), registers(walked.list)),
                unit.Restart(), kListPage);
  }
}

}  // namespace

void CheckRegisterList(const Instrument& instrument, const Unit& unit, Report& report) {
  const bool writable = MayBeWritten(unit, report);
  if (!instrument.type) {
    report.Skip("list", "no walk without an instrument type");
    return;
  }
  if (!SubtreesAreKnown(*instrument.type, report)) return;
  const Listed walked = WalkRegisters(*instrument.type);
  if (!walked.complete && !walked.tooSlow) {
    report.Fault("list", "a walk of the registers fails: " + walked.reason, WalkCommand(),
                 kAgentPage);
  } else if (writable) {
    Compare(walked, unit, report);
  }
}
