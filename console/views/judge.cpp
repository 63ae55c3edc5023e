#include "views/judge.h"

#include <algorithm>
#include <cstdint>
#include <thread>

#include "line/failure.h"
#include "line/interrupt.h"
#include "records/logger_source.h"
#include "records/record.h"
#include "registers/own_registers.h"
#include "registers/type_prefix.h"
#include "views/session.h"

namespace {

using std::chrono::milliseconds;
using Steady = std::chrono::steady_clock;
using Kind = Finding::Kind;

std::string TypeName(const std::string& number) {
  for (const TypePrefix& type : kTypePrefixes) {
    if (std::to_string(type.instrumentType) == number) return type.text;
  }
  return "a type that is not known";
}

void JudgeType(Session& session, Findings& findings) {
  const AKReply reply = session.logger.Ask("LCFG");
  RequireDone(reply, "LCFG");
  findings.Add(Kind::kOk, "type", reply.fields + ", " + TypeName(reply.fields));
  if (reply.status == 0) {
    findings.Add(Kind::kOk, "status", "the status condition is 0");
  } else {
    findings.Add(Kind::kLook, "status",
                 "the status condition is " + std::to_string(reply.status) + ": " +
                     BitsText(reply.status) + ", see the instrument's manual");
  }
}

/// The median of three; the gateway rests between requests.
void JudgeTime(Session& session, bool gnp, Findings& findings) {
  std::vector<std::int64_t> times;
  for (int i = 0; i < 3; ++i) {
    std::this_thread::sleep_for(milliseconds(80));
    if (gnp) {
      session.logger.Data();
    } else {
      session.logger.Ask("LCFG");
    }
    times.push_back(session.logger.ReplyTime().count());
  }
  std::sort(times.begin(), times.end());
  const std::string time = std::to_string(times[1]) + " ms from a request to the end of its reply";
  if (times[1] < 1000) {
    findings.Add(Kind::kOk, "time", time);
  } else {
    findings.Add(Kind::kLook, "time",
                 time + ": a logger with less patience sees no reply; is the agent slow?");
  }
}

void JudgeRegisters(Session& session, Findings& findings) {
  const auto& names = session.numbers.Names();
  const int highest = session.numbers.Highest();
  const std::string count =
      std::to_string(names.size()) + ", the highest number is " + std::to_string(highest);
  std::string mute;
  for (const int number : {1, highest}) {
    if (!session.logger.ReadRegister(number).refused) continue;
    mute += (mute.empty() ? "" : " and ") + std::to_string(number);
  }
  if (names.empty() || highest == 0) {
    findings.Add(Kind::kLook, "registers", "the gateway has no list of them");
  } else if (mute.empty()) {
    findings.Add(Kind::kOk, "registers", count + "; 1 and " + std::to_string(highest) + " answer");
  } else {
    findings.Add(Kind::kLook, "registers", count + "; " + mute + " cannot be read");
  }
}

/// A reply that is lost on the line costs its register alone.
void ReadValues(Session& session, Findings& findings) {
  std::size_t mute = 0;
  bool lost = false;
  for (const Register& reg : session.numbers.All()) {
    std::string value = "no reply";
    try {
      const AKReply reply = session.logger.ReadRegister(reg.number);
      value = reply.refused ? "refused" : reply.fields;
      if (reply.refused) ++mute;
      lost = false;
    } catch (const Failure& failure) {
      if (lost || !IsLoss(failure)) throw;
      lost = true;
      ++mute;
    }
    findings.values.push_back({reg.number, reg.name, value});
  }
  findings.Add(mute == 0 ? Kind::kOk : Kind::kLook, "values",
               std::to_string(findings.values.size() - mute) + " registers read" +
                   (mute == 0 ? "" : ", " + std::to_string(mute) + " cannot be read"));
}

void JudgeRecords(Session& session, bool newest, Findings& findings) {
  const AKReply header = session.logger.Header();
  RequireDone(header, "LDHD");
  findings.Add(Kind::kOk, "records",
               std::to_string(SplitSent(header.fields).size()) + " fields: " + header.fields);
  const int number = session.numbers.Position(kDatabasePointer);
  const AKReply pointer = number == 0 ? AKReply{} : session.logger.ReadRegister(number);
  if (number == 0 || pointer.refused) {
    findings.Add(Kind::kLook, "pointer", "the database pointer cannot be read");
    return;
  }
  std::int64_t seconds = 0;
  const std::string age = AgeText(pointer.fields, seconds);
  const std::string more = newest ? "" : " (--newest looks at the newest one)";
  if (pointer.fields.empty() || pointer.fields == kBeforeAllRecords) {
    findings.Add(Kind::kOk, "pointer", "it stands before all records" + more);
  } else if (age.empty() || seconds < -60) {
    findings.Add(
        Kind::kLook, "pointer",
        "it stands at " + pointer.fields + (age.empty() ? ", which is no time stamp" : ", " + age));
  } else {
    findings.Add(Kind::kOk, "pointer",
                 "records are read up to " + pointer.fields + ", " + age + more);
  }
}

/// The newest record's time stamp; behind that the pointer is put back, which it can be once it was
/// set.
std::string Newest(Session& session) {
  LoggerSource records(session.logger, session.numbers);
  const std::string before = records.Get();
  records.Set(before.empty() ? kBeforeAllRecords : before);
  records.Step("E");
  return records.Get();
}

void JudgeNewest(Session& session, Findings& findings) {
  const std::string newest = Newest(session);
  std::int64_t seconds = 0;
  const std::string age = AgeText(newest, seconds);
  const bool right = !age.empty() && seconds >= -60 && seconds < 86400;
  findings.Add(right ? Kind::kOk : Kind::kLook, "newest",
               "the newest record is of " + newest + (age.empty() ? "" : ", " + age));
}

/// What GNP tells in place of all that.
void JudgeData(Session& session, Findings& findings) {
  const MDFrame frame = session.logger.Data();
  std::string values;
  for (const MDBlock& block : frame.blocks) {
    values += (values.empty() ? "" : ", ") + block.registerNumber + " reads " + block.Decimal();
  }
  const bool none = frame.blocks.front().registerNumber == "999";
  findings.Add(none ? Kind::kLook : Kind::kOk, "data",
               none ? "no register: qmxPRCNumber cannot be read" : "registers: " + values);
  std::string errors;
  for (const std::string& error : frame.blocks.front().Errors()) {
    errors += (errors.empty() ? "" : "; ") + error;
  }
  findings.Add(
      errors.empty() ? Kind::kOk : Kind::kLook, "status",
      frame.blocks.front().OperatingMode() + ", " + (errors.empty() ? "no error bit" : errors));
}

/// What is lost on the line in one step leaves the next ones.
template <typename Step>
void Try(const char* topic, Steady::time_point end, Findings& findings, const Step& step) {
  if (Steady::now() > end) {
    findings.Add(Kind::kLook, topic, "not looked at: the answers take too long");
    return;
  }
  try {
    step();
  } catch (const Failure& failure) {
    if (failure.status == kNoDevice || failure.status >= kInterrupted) throw;
    findings.Add(Kind::kLook, topic, failure.what());
  }
  Interrupt::Stop();
}

}  // namespace

void Judge(Session& session, bool gnp, const JudgeOptions& options, Findings& findings) {
  const auto run = [&](const char* topic, const auto& step) {
    Try(topic, options.end, findings, [&] { step(session, findings); });
  };
  Try("time", options.end, findings, [&] { JudgeTime(session, gnp, findings); });
  if (gnp) {
    run("data", JudgeData);
    return;
  }
  run("type", JudgeType);
  run("registers", JudgeRegisters);
  Try("records", options.end, findings, [&] { JudgeRecords(session, options.newest, findings); });
  if (options.newest) run("newest", JudgeNewest);
  const auto forEver = Steady::time_point::max();
  if (options.values) Try("values", forEver, findings, [&] { ReadValues(session, findings); });
}
