#include <memory>
#include <sstream>

#include "commands.h"
#include "line/failure.h"
#include "serial/control_bytes.h"
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
               [](Session& s, const Words&) { s.report.Show(s.logger.Data()); });
  commands.AddWithWords("raw", "Send a text in a frame and show all that comes back: raw TEXT",
                        AskRaw);
  const auto listening = std::make_shared<ListenOptions>();
  CLI::App* listen =
      commands.Add("listen", "Send nothing, and show what others say: listen [OTHER_DEVICE]",
                   [listening](Session& s, const Words&) { Listen(s, *listening); });
  listen->add_option("OTHER_DEVICE", listening->other,
                     "A second adapter, for the other direction of a Y cable");
  listen->add_option("--for", listening->seconds, "End after so many seconds; 0 goes on")
      ->check(CLI::Range(0.0, 1e9))
      ->capture_default_str();
}
