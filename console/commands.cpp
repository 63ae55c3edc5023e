#include "commands.h"

#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "download.h"
#include "failure.h"
#include "serial/control_bytes.h"
#include "watch.h"

namespace {

using Words = std::vector<std::string>;

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

/// Words that are taken as they stand; what looks like an option is most likely a mistake.
std::string Joined(const Words& words, std::size_t from) {
  std::string text;
  for (std::size_t i = from; i < words.size(); ++i) {
    if (words[i].compare(0, 2, "--") == 0) {
      throw Failure(kUsage,
                    words[i] + " comes too late: options stand before the device or command.");
    }
    text += (i == from ? "" : " ") + words[i];
  }
  return text;
}

void WriteRegister(Session& session, const Words& words) {
  if (words.size() < 2) throw Failure(kUsage, "ereg needs a register and a value.");
  const std::string value = Joined(words, 1);
  const int number = session.numbers.Number(words[0]);
  const AKReply reply = session.logger.WriteRegister(number, value);
  session.report.Show("EREG", reply, reply.refused ? "" : words[0] + " is set\n",
                      {{"register", std::to_string(number)}});
  RequireDone(reply, "EREG");
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

void ShowRecords(Session& session, long count) {
  const Records records = session.logger.NextRecords(count);
  std::vector<Words> rows;
  std::string json;
  for (const std::string& record : records.lines) {
    rows.push_back(Fields(Visible(record)));
    json += (json.empty() ? "" : ",") + JsonList(Fields(record));
  }
  const bool none = rows.empty() && !records.reply.refused;
  session.report.Show("ASTO", records.reply, none ? "no further records\n" : Table(rows),
                      {{"records", "[" + json + "]"}});
  RequireDone(records.reply, "ASTO");
  if (!records.pointerMoved) {
    throw Failure(kRefused, "The records came, but the database pointer could not be moved.");
  }
}

/// A request whose reply has at most one field.
void AskPlain(Session& session, const std::string& code, const std::string& arguments,
              const std::string& what) {
  const AKReply reply = session.logger.Ask(code, arguments);
  const std::string value = reply.refused ? "" : reply.fields;
  session.report.Show(code, reply, reply.refused ? "" : what + Visible(value) + "\n",
                      {{"value", JsonText(value)}});
  RequireDone(reply, code);
}

void ShowHeader(Session& session) {
  const AKReply reply = session.logger.Header();
  const std::string header = reply.refused ? "" : reply.fields;
  session.report.Show("LDHD", reply, reply.refused ? "" : Visible(header) + "\n",
                      {{"fields", JsonList(Fields(header))}});
  RequireDone(reply, "LDHD");
}

/// Whether the text of a reply frame is a refusal: code, status condition and SE, or what GNP says.
bool IsRefusal(const std::string& text) {
  std::istringstream words(text);
  std::string code;
  long status = 0;
  std::string last;
  std::string more;
  return text == kUnknownCommand ||
         (words >> code >> status >> last && last == "SE" && !(words >> more));
}

void AskRaw(Session& session, const Words& words) {
  const std::string answer = session.logger.Raw(Joined(words, 0), session.gnp);
  session.report.Answer(answer);
  const std::size_t start = answer.find(kSTX);
  const std::size_t end = answer.find(kETX, start == std::string::npos ? 0 : start);
  if (start == std::string::npos || end == std::string::npos) {
    throw Failure(kBroken, "The answer holds no whole frame.");
  }
  if (IsRefusal(answer.substr(start + 1, end - start - 1))) throw Failure(kRefused, "Refused.");
}

}  // namespace

std::function<std::string(const std::string&)> Digits(std::size_t count) {
  return [count](const std::string& text) {
    const bool fits =
        text.size() == count && text.find_first_not_of("0123456789") == std::string::npos;
    return fits ? std::string() : std::to_string(count) + " digits are wanted, not " + text;
  };
}

void AddCommands(CLI::App& parser, const std::function<Session&()>& session) {
  using Run = std::function<void(Session&, const Words&)>;
  const auto add = [&](const std::string& name, const std::string& help, const Run& run) {
    CLI::App* command = parser.add_subcommand(name, help);
    command->fallthrough();
    command->callback([command, name, session, run] {
      Session& current = session();
      if (current.gnp && name != "da" && name != "raw") {
        throw Failure(kUsage, name + " is an AK command; --protocol gnp has da and raw.");
      }
      run(current, command->remaining());
    });
    return command;
  };

  const auto registers = std::make_shared<Words>();
  add("areg", "Read registers: areg REGISTER...",
      [registers](Session& s, const Words&) { ReadRegisters(s, *registers); })
      ->add_option("REGISTER", *registers, "Register number or name")
      ->required();
  // A value may begin with a minus sign, so these words are taken as they stand.
  const auto takesWords = [](CLI::App* command) { command->allow_extras()->fallthrough(false); };
  takesWords(add("ereg", "Write a register: ereg REGISTER VALUE", WriteRegister));
  add("lprc", "List the registers, after building the list anew",
      [](Session& s, const Words&) { ListRegisters(s, "", true); });
  const auto wanted = std::make_shared<std::string>();
  add("registers", "The names of the registers", [wanted](Session& s, const Words&) {
    ListRegisters(s, *wanted, false);
  })->add_option("--grep", *wanted, "Only names with this text");
  add("lcfg", "Instrument type number",
      [](Session& s, const Words&) { AskPlain(s, "LCFG", "", "instrument type "); });
  const auto code = std::make_shared<std::string>();
  add("sf", "Control function: sf 03, 06, 09, 17, 25 or 26",
      [code](Session& s, const Words&) { AskPlain(s, "SF" + *code, "", "SF" + *code + " done"); })
      ->add_option("CODE", *code, "Two digits")
      ->check(Digits(2))
      ->required();
  takesWords(add("ssto", "Move the database pointer: ssto B, ssto E or ssto NUMBER",
                 [](Session& s, const Words& words) {
                   if (words.size() != 1)
                     throw Failure(kUsage, "ssto needs B, E or a number of records.");
                   AskPlain(s, "SSTO", words[0], "database pointer moved");
                 }));
  const auto count = std::make_shared<long>(0);
  add("asto", "The records behind the database pointer: asto NUMBER",
      [count](Session& s, const Words&) { ShowRecords(s, *count); })
      ->add_option("NUMBER", *count, "How many records at most")
      ->required();
  add("ldhd", "The names of the record fields", [](Session& s, const Words&) { ShowHeader(s); });
  add("da", "The data reply of the GNP protocol",
      [](Session& s, const Words&) { s.report.Show(s.logger.Data()); });
  takesWords(add("raw", "Send a text in a frame and show all that comes back: raw TEXT", AskRaw));
  const auto download = std::make_shared<DownloadOptions>();
  CLI::App* command =
      add("download", "Bring the records into a file, or continue it: download FILE.csv",
          [download](Session& s, const Words&) { Download(s.logger, s.numbers, *download); });
  command->add_option("FILE", download->file, "File of comma-separated values; - prints them")
      ->required();
  command->add_option("--from", download->from, "begin, pointer, or a time stamp")
      ->capture_default_str();
  command->add_option("--batch", download->batch, "Records asked for at a time")
      ->check(CLI::Range(2L, 1000000L))
      ->capture_default_str();
  const auto watch = std::make_shared<WatchOptions>();
  command = add("watch", "Live values of registers: watch REGISTER...",
                [watch](Session& s, const Words&) { Watch(s, *watch); });
  command->add_option("REGISTER", watch->registers, "Register number or name")->required();
  command->add_option("--every", watch->every, "Seconds between readings")
      ->check(CLI::Range(0.0, 86400.0))
      ->capture_default_str();
  command->add_option("--count", watch->count, "End after so many readings; 0 goes on")
      ->check(CLI::Range(0L, 1000000000L))
      ->capture_default_str();
}
