#include <net-snmp/net-snmp-config.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <iterator>

#include "doctor/checks.h"
#include "doctor/command.h"
#include "doctor/listener.h"
#include "doctor/pages.h"
#include "registers/own_registers.h"
#include "snmp/agent.h"

namespace {

constexpr const char* kRegisters[] = {
    kRS232Mode,     kInstrumentType, kAKStationCode, kAKChannelNumber, kStatusCondition,
    kOperatingMode, kAKSetTime,      kCommand,       kDatabasePointer, kInstrumentID,
    kLocationID,    kPRCNumber,      kResponseEnd};

/// Seconds to an answer, of which a request needs five.
constexpr double kTooSlowAnswer = 0.4;
constexpr double kSlowAnswer = 0.2;

std::string CommandLine(const char* program, const std::string& rest) {
  return Text("%s -v1 -c %s %s %s", program, kCommunity, kAgentHost, rest.c_str());
}

/// The first module that the configuration names, not the library of its own, and that is not
/// found.
std::string MissingModule(const std::string& complaints) {
  constexpr char kComplaint[] = "Cannot find module (";
  const std::string ownModules = std::string(NETSNMP_DEFAULT_MIBS) + ":";
  for (std::size_t at = complaints.find(kComplaint); at != std::string::npos;
       at = complaints.find(kComplaint, at + 1)) {
    const std::size_t begin = at + sizeof kComplaint - 1;
    const std::string module = complaints.substr(begin, complaints.find(')', begin) - begin);
    if (ownModules.find(":" + module + ":") == std::string::npos) {
      return "; snmp.conf names " + module + ", which is in none of its folders";
    }
  }
  return "";
}

/// A setting of the instrument that may be written, with the value that it has.
bool FindSetting(Agent& agent, SNMPValue& value) {
  for (const char* name : {kLocationID, kInstrumentID, kAKStationCode, kPRCNumber, kResponseEnd}) {
    if (!Agent::MayBeWritten(name)) continue;
    const Answer answer = agent.Get(name);
    if (answer.outcome != Outcome::kAnswered || !answer.value.IsInteger()) continue;
    value = answer.value;
    std::strncpy(value.name, name, sizeof value.name - 1);
    return true;
  }
  return false;
}

}  // namespace

void CheckModules(const Agent& agent, Report& report) {
  const std::string configuration = "/usr/share/snmp/snmp.conf";
  int known = 0;
  std::string missing;
  for (const char* name : kRegisters) {
    if (Agent::Knows(name)) {
      ++known;
    } else {
      missing += (missing.empty() ? "" : ", ") + std::string(name);
    }
  }
  if (missing.empty()) {
    report.Ok("modules", "the MIB modules define all registers that are asked for");
  } else if (known == 0) {
    report.Fault(
        "modules",
        "the MIB modules of the instrument are not loaded" + MissingModule(agent.Complaints()),
        std::filesystem::exists(configuration)
            ? "editor " + configuration
            : "cp /usr/share/doc/qmx-gateway/examples/snmp.conf " + configuration + " && editor " +
                  configuration,
        kModulesPage);
  } else {
    report.Fault("modules",
                 "the MIB modules do not define " + missing + MissingModule(agent.Complaints()),
                 "snmptranslate -IR " + missing.substr(0, missing.find(',')), kModulesPage);
  }
}

void CheckAgent(Agent& agent, Instrument& instrument, Report& report) {
  if (!agent.IsOpen()) {
    report.Fault(
        "agent",
        Text("no session can be opened: %s does not resolve, or clientaddr in snmp.conf is "
             "no address of this machine: the gateway ends with status 2",
             kAgentHost),
        Text("getent hosts %s", kAgentHost), kSessionPage);
    return;
  }
  if (!Agent::Knows(kRS232Mode)) {
    report.Skip("agent", "it cannot be asked without the MIB modules");
    return;
  }
  Answer answer = agent.Get(kRS232Mode);
  // One slow answer may be the machine's doing.
  for (double spent = answer.seconds; answer.seconds > kSlowAnswer && spent < 3;) {
    const Answer next = agent.Get(kRS232Mode);
    spent += next.seconds;
    answer.seconds = std::min(answer.seconds, next.seconds);
  }
  if (answer.outcome == Outcome::kSilent) {
    const std::string listener = UDPListener(161);
    if (listener.empty()) {
      report.Fault("agent",
                   "no answer in 6 s, and nothing listens on udp port 161: the agent does not run",
                   "systemctl restart snmpd", kAgentPage);
    } else {
      report.Fault("agent",
                   Text("no answer in 6 s, though %s listens on udp port 161: it takes another "
                        "community than \"%s\", or no SNMP version 1, or hangs",
                        listener.c_str(), kCommunity),
                   CommandLine("snmpget", kRS232Mode), kAgentPage);
    }
    return;
  }
  instrument.answers = true;
  report.Measure("agent_answer_seconds", answer.seconds);
  const std::string time = Text("answers \"%s\" in %.0f ms", kCommunity, answer.seconds * 1000);
  if (answer.seconds > kSlowAnswer) {
    const std::string slow =
        time + Text(": an AREG, which needs five answers, takes %.1f s", 5 * answer.seconds);
    const std::string cure = "time " + CommandLine("snmpget", kRS232Mode);
    if (answer.seconds > kTooSlowAnswer) {
      report.Fault("agent", slow, cure, kAgentPage);
      // The rest would be the same fault over and over.
      instrument.answers = false;
      return;
    }
    report.Look("agent", slow, cure, kAgentPage);
  } else {
    report.Ok("agent", time);
  }
}

void CheckWriting(Agent& agent, const Instrument& instrument, Report& report) {
  if (!instrument.answers) return;
  SNMPValue value{};
  if (!FindSetting(agent, value)) {
    report.Skip("writing", "no setting was found to try it with");
    return;
  }
  const Answer answer = agent.Set(value);
  const std::string attempt = Text("%s set to %d, as it is", value.name, value.intValue);
  if (answer.outcome == Outcome::kAnswered && answer.value.intValue == value.intValue) {
    report.Ok("writing", attempt);
    return;
  }
  const std::string mayOnlyRead = Text("; the community \"%s\" may only read", kCommunity);
  report.Fault("writing",
               attempt + ": " +
                   (answer.outcome == Outcome::kSilent ? "no answer" + mayOnlyRead
                    : answer.reason.empty()            ? "another value came back"
                                                       : answer.reason + mayOnlyRead) +
                   ": EREG, SF, SSTO and ASTO are refused",
               CommandLine("snmpset", Text("%s i %d", value.name, value.intValue)), kAgentPage);
}
