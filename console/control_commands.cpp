#include <memory>
#include <sstream>

#include "commands.h"
#include "line/failure.h"
#include "logger/no_reply.h"
#include "serial/control_bytes.h"
#include "views/check.h"
#include "views/listen.h"

namespace {

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

/// What comes back, whatever it is.
std::string Answer(Session& session, const std::string& text) {
  try {
    return session.logger.Raw(text, session.gnp);
  } catch (const Failure& failure) {
    const Address& address = session.logger.GetAddress();
    if (failure.status != kNoReply || session.gnp || text[0] == address.station) throw;
    throw Failure(kNoReply, std::string("No reply. A request begins with the station, such as: ") +
                                address.station + "LCFG " + address.channel);
  }
}

void AskRaw(Session& session, const Words& words) {
  const std::string text = Joined(words, 0);
  if (text.empty()) throw Failure(kUsage, "raw needs a text.");
  const std::string answer = Answer(session, text);
  session.report.Answer(answer);
  if (answer.find(kSTX + text + kETX) != std::string::npos) throw Failure(kNoReply, kEchoed);
  const std::size_t start = answer.find(kSTX);
  const std::size_t end = answer.find(kETX, start == std::string::npos ? 0 : start);
  if (start == std::string::npos || end == std::string::npos) {
    throw Failure(kBroken, "The answer holds no whole frame.");
  }
  if (IsRefusal(answer.substr(start + 1, end - start - 1))) throw Failure(kRefused, "Refused.");
}

}  // namespace

void AddControlCommands(const Commands& commands) {
  commands.Add("lcfg", "Instrument type number",
               [](Session& s, const Words&) { AskPlain(s, "LCFG", "", "instrument type "); });
  const auto code = std::make_shared<std::string>();
  commands
      .Add("sf", "Control function: sf 03, 06, 09, 17, 25 or 26",
           [code](Session& s, const Words&) {
             AskPlain(s, "SF" + *code, "", "SF" + *code + " done");
           })
      ->add_option("CODE", *code, "Two digits")
      ->check(Digits(2))
      ->required();
  commands.Add("da", "The data reply of the GNP protocol",
               [](Session& s, const Words&) { s.report.Show(s.logger.Data(), s.numbers); });
  commands.AddWithWords(
      "raw", "Send a text in a frame and show all that comes back: raw TEXT",
      {{"TEXT",
        "In AK station, function, blank, channel and arguments; in GNP command and instrument id"}},
      "raw 4AREG K0 12", AskRaw);
  const auto check = std::make_shared<CheckOptions>();
  CLI::App* checking = commands.Add("check", "Find the instrument, and judge it",
                                    [check](Session& s, const Words&) { Check(s, *check); });
  checking->add_option("--report", check->page,
                       "Write a page of it, with the value of every register");
  checking->add_flag("--newest", check->newest,
                     "Tell the newest record too: moves the database pointer to it and back");
  const auto listening = std::make_shared<ListenOptions>();
  CLI::App* listen =
      commands.Add("listen", "Send nothing, and show what others say: listen [OTHER_DEVICE]",
                   [listening](Session& s, const Words&) { Listen(s, *listening); });
  listen->add_option("OTHER_DEVICE", listening->other,
                     "A second adapter, for the other direction of a Y cable");
  listen->add_option("--for", listening->seconds, "End after so many seconds; 0 goes on")
      ->check(Seconds(0, 1e9))
      ->capture_default_str();
}
