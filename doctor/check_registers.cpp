#include <cstring>
#include <iterator>

#include "db/records.h"
#include "doctor/checks.h"
#include "doctor/pages.h"
#include "gnp/check_value.h"
#include "registers/own_registers.h"
#include "registers/type_prefix.h"
#include "serial/control_bytes.h"
#include "snmp/agent.h"
#include "snmp/snmp.h"

namespace {

constexpr int kAnyInteger = -1;

struct Expected {
  const char* name;
  const char* check;
  char type;    ///< 'i' integer, 's' text
  int highest;  ///< of an integer from 0; kAnyInteger for all
  const char* without;
};

// In the order in which requests need them.
constexpr Expected kExpected[] = {
    {kRS232Mode, "mode", 'i', 1, "nothing is served"},
    {kInstrumentType, "type", 's', 0, "no register list is made, and LCFG is refused"},
    {kAKStationCode, "station", 'i', 9, "no AK request is answered"},
    {kAKChannelNumber, "channel", 's', 0, "no AK request is answered"},
    {kStatusCondition, "status", 'i', kAnyInteger, "no AK request is answered"},
    {kOperatingMode, "operation", 'i', 5, "SF is refused, and DA tells a stand-in"},
    {kDatabasePointer, "pointer", 's', 0, "ASTO and SSTO are refused"},
    {kAKSetTime, "settime", 's', 0, "SF26 is refused"},
    {kCommand, "command", 's', 0, "SF26 is refused"},
    {kInstrumentID, "id", 'i', 999, "GNP requests with an id are not answered, DA has no values"},
    {kLocationID, "location", 'i', 999, "DA tells a stand-in"},
    {kPRCNumber, "numbers", 'i', 999999999, "DA has no values"},
    {kResponseEnd, "end", 'i', 999999999, "DA ends without its response end"},
};

std::string SetCommand(const char* name, const char* value) {
  return Text("snmpset -v1 -c %s %s %s %s", kCommunity, kAgentHost, name, value);
}

std::string GetCommand(const char* name) {
  return Text("snmpget -v1 -c %s %s %s", kCommunity, kAgentHost, name);
}

/// Whether the agent gave the register with its type; otherwise that is reported.
bool IsThere(const Expected& expected, const Answer& answer, Report& report) {
  std::string what;
  if (answer.outcome == Outcome::kSilent) {
    what = "is not answered for";
  } else if (answer.outcome == Outcome::kRefused) {
    what = "is refused: " + answer.reason;
  } else if (expected.type == 'i' ? !answer.value.IsInteger() : !answer.value.IsText()) {
    what = Text("is of type %s, not %s", CSNMP::TypeName(answer.value.typeCode),
                expected.type == 'i' ? "INTEGER" : "OCTET-STR");
  } else {
    return true;
  }
  report.Fault(expected.check, Text("%s %s: %s", expected.name, what.c_str(), expected.without),
               GetCommand(expected.name), kRegisterPage);
  return false;
}

void JudgeType(const std::string& text, Instrument& instrument, Report& report) {
  for (const TypePrefix& prefix : kTypePrefixes) {
    if (text.compare(0, std::strlen(prefix.text), prefix.text) != 0) continue;
    instrument.type = prefix.instrumentType;
    report.Ok("type", text + Text(", LCFG answers %d", prefix.instrumentType));
    return;
  }
  report.Fault("type",
               Text("%s is \"%s\", which is no instrument type: no register list is made, and "
                    "LCFG is refused",
                    kInstrumentType, text.c_str()),
               GetCommand(kInstrumentType), kListPage);
}

void JudgeChannel(const std::string& channel, Report& report) {
  if (channel.size() == 2) return;
  const std::string is = Text("%s is \"%s\"", kAKChannelNumber, channel.c_str());
  if (channel.size() < 2) {
    report.Fault("channel", is + ", not two characters: every AK request is refused with ????",
                 SetCommand(kAKChannelNumber, "s K0"), kRegisterPage);
  } else {
    report.Look("channel", is + ": only the first two characters count",
                SetCommand(kAKChannelNumber, ("s " + channel.substr(0, 2)).c_str()), kRegisterPage);
  }
}

void JudgePointer(const std::string& pointer, Instrument& instrument, Report& report) {
  instrument.pointer = pointer;
  if (pointer.size() < kTimeStampSize) return;
  report.Fault("pointer",
               Text("%s has %zu characters, more than %d: ASTO is refused", kDatabasePointer,
                    pointer.size(), kTimeStampSize - 1),
               "qmx-console LINE ssto B", kSelectPage);
}

/// Registers that are out of their range; all but the mode are only looked at.
void JudgeRange(const Expected& expected, int value, Report& report) {
  if (expected.highest == kAnyInteger || (value >= 0 && value <= expected.highest)) return;
  const std::string is =
      Text("%s is %d, not one of 0 to %d", expected.name, value, expected.highest);
  if (std::strcmp(expected.name, kRS232Mode) == 0) {
    report.Fault("mode", is + ": 0 is AK, 1 is GNP, and nothing is served otherwise",
                 SetCommand(kRS232Mode, "i 0"), kSilentPage);
  } else if (std::strcmp(expected.name, kAKStationCode) == 0) {
    report.Look("station", is + Text(": the line answers to station %c", std::to_string(value)[0]),
                SetCommand(kAKStationCode, "i 4"), kRegisterPage);
  } else {
    report.Look(expected.check, is, GetCommand(expected.name), kRegisterPage);
  }
}

/// What the logger has to send, where that would be answered.
void TellRequests(const SNMPValue (&values)[std::size(kExpected)], Report& report) {
  const auto valueOf = [&values](const char* name) -> const SNMPValue& {
    std::size_t i = 0;
    while (std::strcmp(kExpected[i].name, name) != 0) ++i;
    return values[i];
  };
  const int mode = valueOf(kRS232Mode).intValue;
  if (mode == 0) {
    const char station = std::to_string(valueOf(kAKStationCode).intValue)[0];
    const std::string channel = std::string(valueOf(kAKChannelNumber).strValue).substr(0, 2);
    if (channel.size() < 2) return;
    report.Ok("requests", Text("AK, station %c, channel %s: requests look like \"%cAREG %s 12\"",
                               station, channel.c_str(), station, channel.c_str()));
  }
  if (mode != 1) return;
  std::string frame = std::string(1, kSTX) + Text("DA%.3d", valueOf(kInstrumentID).intValue) + kETX;
  char check[3];
  WriteCheckValue(frame.data(), static_cast<int>(frame.size()), check);
  report.Ok("requests",
            Text("GNP, instrument id %.3d: requests look like \"<STX>DA%.3d<ETX>%s\" or "
                 "\"<STX>DA<ETX>04\"",
                 valueOf(kInstrumentID).intValue, valueOf(kInstrumentID).intValue, check));
}

}  // namespace

void CheckRegisters(Agent& agent, Instrument& instrument, Report& report) {
  if (!instrument.answers) {
    report.Skip("registers", "the agent does not answer, or too slowly");
    return;
  }
  SNMPValue values[std::size(kExpected)] = {};
  int silent = 0;
  bool all = true;
  for (std::size_t i = 0; i < std::size(kExpected); ++i) {
    const Expected& expected = kExpected[i];
    if (!Agent::Knows(expected.name)) {
      all = false;
      continue;  // said of the modules
    }
    if (silent == 2) {
      report.Skip(expected.check, Text("%s was not asked for any more", expected.name));
      continue;
    }
    const Answer answer = agent.Get(expected.name);
    if (answer.outcome == Outcome::kSilent) ++silent;
    if (!IsThere(expected, answer, report)) {
      all = false;
      continue;
    }
    values[i] = answer.value;
    const std::string text = answer.value.strValue;
    if (expected.type == 'i') {
      JudgeRange(expected, answer.value.intValue, report);
    } else if (std::strcmp(expected.name, kInstrumentType) == 0) {
      JudgeType(text, instrument, report);
    } else if (std::strcmp(expected.name, kAKChannelNumber) == 0) {
      JudgeChannel(text, report);
    } else if (std::strcmp(expected.name, kDatabasePointer) == 0) {
      JudgePointer(text, instrument, report);
    }
  }
  if (all) TellRequests(values, report);
}
