#include "doctor/walk.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "doctor/command.h"
#include "registers/walk_plan.h"
#include "snmp/snmp.h"

namespace {

constexpr int kTooSlow = -1;

/// The gateway's own walk, which may end its process.
[[noreturn]] void Walk(const WalkPlan& plan, const std::string& list, const std::string& said) {
  dup2(open(said.c_str(), O_WRONLY | O_CREAT, 0600), 2);
  snmp_enable_stderrlog();
  CSNMP snmp;
  const char* mode = "w";
  for (const PlannedWalk* walk = plan.walks; walk->subtree != nullptr; ++walk) {
    snmp.count += walk->gap;
    if (snmp.Walk(walk->subtree, list.c_str(), mode) != 0) _exit(1);
    mode = "a";
  }
  _exit(0);
}

/// The exit status, or kTooSlow.
int Await(pid_t process) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(8);
  int status = 0;
  while (waitpid(process, &status, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() > end) {
      kill(process, SIGKILL);
      waitpid(process, &status, 0);
      return kTooSlow;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

std::string ReasonIn(const std::string& said) {
  const std::string reason = LineBehind(said, "Reason: ");
  return reason.empty() ? LineBehind(said, "") : reason;
}

}  // namespace

Listed WalkRegisters(int instrumentType) {
  Listed listed;
  char folder[] = "/tmp/qmx-doctor.XXXXXX";
  if (mkdtemp(folder) == nullptr) {
    listed.reason = "no room in /tmp";
    return listed;
  }
  const std::string list = std::string(folder) + "/list";
  const std::string said = std::string(folder) + "/said";
  for (const WalkPlan& plan : kWalkPlans) {
    if (plan.instrumentType != instrumentType) continue;
    const pid_t process = fork();
    if (process == 0) Walk(plan, list, said);
    const int status = Await(process);
    listed.complete = status == 0;
    listed.tooSlow = status == kTooSlow;
    listed.reason = ReasonIn(ReadFile(said));
    listed.list = ReadFile(list);
  }
  std::error_code error;
  std::filesystem::remove_all(folder, error);
  return listed;
}
