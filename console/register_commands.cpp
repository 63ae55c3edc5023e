#include <algorithm>
#include <iostream>
#include <memory>
#include <optional>

#include "commands.h"
#include "line/failure.h"
#include "line/visible.h"
#include "logger/register_words.h"
#include "views/watch.h"

namespace {

constexpr char kRegisterHelp[] = "Numbers, ranges (18-24), names in any case, patterns ('qmxK*')";

std::string WhyNotRead(const RegisterNumbers& numbers, const Register& asked) {
  const std::string number = std::to_string(asked.number);
  if (!asked.name.empty()) {
    return "register " + number + ", " + asked.name +
           ", is there, but the agent does not tell it, or its value is too long for a reply.";
  }
  return "there is no register " + number +
         (numbers.Known() ? "; \"registers\" lists them." : ", or the gateway cannot read it.");
}

/// JSON has the name, too. It is asked for behind the register itself, as that may fail.
void Name(Session& session, Register& asked) {
  if (!session.report.Json() || !asked.name.empty()) return;
  session.numbers.Learn();
  asked.name = session.numbers.Name(asked.number);
}

void ReadRegisters(Session& session, const Words& words) {
  std::string refusals;
  for (Register& asked : session.numbers.Find(words)) {
    const AKReply reply = session.logger.ReadRegister(asked.number);
    if (reply.code != kUnknown) Name(session, asked);
    session.report.ShowRegister(asked, reply);
    if (!reply.refused) continue;
    if (reply.code == kUnknown) RequireDone(reply, "AREG");
    refusals += (refusals.empty() ? "" : "\n") + std::string("AREG refused: ") +
                WhyNotRead(session.numbers, asked);
  }
  if (!refusals.empty()) throw Failure(kRefused, refusals);
}

/// A write that may have been done: what the register holds now tells more.
[[noreturn]] void TellDoubt(Session& session, const Register& asked, const NotKnown& failure) {
  const std::string doubt = "It is not known whether " + asked.label + " was written";
  std::string now = "; read it when the gateway answers. " + std::string(failure.what());
  try {
    if (session.logger.IsCaughtUp()) {
      const AKReply reply = session.logger.ReadRegister(asked.number);
      now = ": the gateway passed over it, or its reply was lost. It " +
            (reply.refused ? "cannot be read now." : "reads " + Visible(reply.fields) + " now.");
    }
  } catch (const Failure& again) {
    if (!IsLoss(again)) throw;
  }
  throw Failure(failure.status, doubt + now);
}

void WriteRegister(Session& session, const Words& words) {
  if (words.size() < 2) throw Failure(kUsage, "ereg needs a register and a value.");
  const std::string value = Joined(words, 1);
  Register asked = session.numbers.FindOne(words[0]);
  try {
    const AKReply reply = session.logger.WriteRegister(asked.number, value);
    if (!reply.refused) Name(session, asked);
    session.report.Show("EREG", reply, reply.refused ? "" : asked.label + " is set\n",
                        JsonMembers(asked.number, asked.name));
    RequireDone(reply, "EREG");
  } catch (const NotKnown& failure) {
    TellDoubt(session, asked, failure);
  }
}

/// The registers that a listing brought; without numbers, and the reason, where they are not
/// certain.
std::vector<Register> Numbered(RegisterNumbers& numbers, std::optional<Failure>& doubt) {
  try {
    return numbers.All();
  } catch (const Failure& failure) {
    doubt = failure;
  }
  std::vector<Register> registers;
  for (const std::string& name : numbers.Names()) registers.push_back({0, name, name});
  return registers;
}

void ListRegisters(Session& session, const std::string& wanted, bool withTotal) {
  session.numbers.Forget();
  std::optional<Failure> doubt;
  const std::string highest = std::to_string(session.numbers.Highest());
  Words names;
  std::string text;
  std::string json;
  for (const Register& found : Numbered(session.numbers, doubt)) {
    if (!Holds(found.name, wanted)) continue;
    names.push_back(found.name);
    const std::string number = doubt ? "?" : std::to_string(found.number);
    text += std::string(highest.size() - std::min(highest.size(), number.size()), ' ') + number +
            "  " + Visible(found.name) + "\n";
    json += (json.empty() ? "" : ",") +
            JsonObject({{"number", doubt ? "null" : number}, {"name", JsonText(found.name)}});
  }
  if (withTotal) {
    text += std::to_string(names.size()) + " registers, highest number " + highest + "\n";
  }
  session.report.Show(
      "LPRC", session.numbers.Reply(), text,
      {{"highest", highest}, {"names", JsonList(names)}, {"registers", "[" + json + "]"}});
  if (doubt && doubt->status != kUsage) throw Failure(*doubt);
  if (doubt) std::cerr << doubt->what() << std::endl;
}

}  // namespace

void AddRegisterCommands(const Commands& commands) {
  const auto registers = std::make_shared<Words>();
  commands
      .Add("areg", "Read registers: areg REGISTER...",
           [registers](Session& s, const Words&) { ReadRegisters(s, *registers); })
      ->add_option("REGISTER", *registers, kRegisterHelp)
      ->required();
  commands.AddWithWords(
      "ereg", "Write a register: ereg REGISTER VALUE",
      {{"REGISTER", "Register number or name"}, {"VALUE", "A number, or a text, blanks included"}},
      "ereg qmxAveragingTime 60", WriteRegister);
  commands.Add("lprc", "List the registers, after building the list anew",
               [](Session& s, const Words&) { ListRegisters(s, "", true); });
  const auto wanted = std::make_shared<std::string>();
  commands
      .Add("registers", "The numbers and names of the registers",
           [wanted](Session& s, const Words&) { ListRegisters(s, *wanted, false); })
      ->add_option("--grep", *wanted, "Only names with this text, in any case");
  const auto watch = std::make_shared<WatchOptions>();
  CLI::App* command = commands.Add("watch", "Live values of registers: watch REGISTER...",
                                   [watch](Session& s, const Words&) { Watch(s, *watch); });
  command->add_option("REGISTER", watch->registers, kRegisterHelp);
  command->add_option("--every", watch->every, "Seconds between readings")
      ->check(Seconds(0, 86400))
      ->capture_default_str();
  command->add_option("--csv", watch->csv, "Add each reading to a file of comma-separated values");
  command->add_option("--count", watch->count, "End after so many readings; 0 goes on")
      ->check(CLI::Range(0L, 1000000000L))
      ->capture_default_str();
}
