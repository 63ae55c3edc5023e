#include <memory>
#include <optional>

#include "commands.h"
#include "line/failure.h"
#include "line/visible.h"
#include "views/watch.h"

namespace {

void ReadRegisters(Session& session, const Words& registers) {
  std::optional<Failure> refused;
  for (const std::string& word : registers) {
    const int number = session.numbers.Number(word);
    const AKReply reply = session.logger.ReadRegister(number);
    if (reply.refused) {
      refused.emplace(kRefused, "AREG refused: there is no register " + word +
                                    ", or the gateway cannot read it.");
    }
    session.report.ShowRegister(word, number, reply);
  }
  if (refused) throw Failure(*refused);
}

/// A write that may have been done: what the register holds now tells more.
[[noreturn]] void TellDoubt(Session& session, const std::string& name, int number,
                            const NotKnown& failure) {
  const std::string doubt = "It is not known whether " + name + " was written";
  std::string now = "; read it when the gateway answers. " + std::string(failure.what());
  try {
    if (session.logger.IsCaughtUp()) {
      const AKReply reply = session.logger.ReadRegister(number);
      now = ": the gateway passed over it, or its reply was lost. It " +
            (reply.refused ? "cannot be read now." : "reads " + Visible(reply.fields) + " now.");
    }
  } catch (const Failure& again) {
    if (again.status != kNoReply && again.status != kBroken) throw;
  }
  throw Failure(failure.status, doubt + now);
}

void WriteRegister(Session& session, const Words& words) {
  if (words.size() < 2) throw Failure(kUsage, "ereg needs a register and a value.");
  const std::string value = Joined(words, 1);
  const int number = session.numbers.Number(words[0]);
  try {
    const AKReply reply = session.logger.WriteRegister(number, value);
    session.report.Show("EREG", reply, reply.refused ? "" : words[0] + " is set\n",
                        {{"register", std::to_string(number)}});
    RequireDone(reply, "EREG");
  } catch (const NotKnown& failure) {
    TellDoubt(session, words[0], number, failure);
  }
}

void ListRegisters(Session& session, const std::string& wanted, bool withTotal) {
  session.numbers.Forget();
  const RegisterListing listing = session.logger.ListRegisters();
  const std::string highest = std::to_string(listing.highest);
  Words found;
  std::string text;
  for (const std::string& name : listing.names) {
    if (name.find(wanted) == std::string::npos) continue;
    found.push_back(name);
    text += Visible(name) + "\n";
  }
  if (withTotal && !listing.reply.refused) {
    text += std::to_string(found.size()) + " registers, highest number " + highest + "\n";
  }
  session.report.Show("LPRC", listing.reply, text,
                      {{"highest", highest}, {"names", JsonList(found)}});
  RequireDone(listing.reply, "LPRC");
}

}  // namespace

void AddRegisterCommands(const Commands& commands) {
  const auto registers = std::make_shared<Words>();
  commands
      .Add("areg", "Read registers: areg REGISTER...",
           [registers](Session& s, const Words&) { ReadRegisters(s, *registers); })
      ->add_option("REGISTER", *registers, "Register number or name")
      ->required();
  commands.AddWithWords("ereg", "Write a register: ereg REGISTER VALUE", WriteRegister);
  commands.Add("lprc", "List the registers, after building the list anew",
               [](Session& s, const Words&) { ListRegisters(s, "", true); });
  const auto wanted = std::make_shared<std::string>();
  commands
      .Add("registers", "The names of the registers",
           [wanted](Session& s, const Words&) { ListRegisters(s, *wanted, false); })
      ->add_option("--grep", *wanted, "Only names with this text");
  const auto watch = std::make_shared<WatchOptions>();
  CLI::App* command = commands.Add("watch", "Live values of registers: watch REGISTER...",
                                   [watch](Session& s, const Words&) { Watch(s, *watch); });
  command->add_option("REGISTER", watch->registers, "Register number or name")->required();
  command->add_option("--every", watch->every, "Seconds between readings")
      ->check(CLI::Range(0.0, 86400.0))
      ->capture_default_str();
  command->add_option("--count", watch->count, "End after so many readings; 0 goes on")
      ->check(CLI::Range(0L, 1000000000L))
      ->capture_default_str();
}
