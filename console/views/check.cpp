#include "views/check.h"

#include <iostream>

#include "line/failure.h"
#include "line/tcp_line.h"
#include "line/visible.h"
#include "logger/search.h"
#include "views/check_page.h"
#include "views/findings.h"
#include "views/judge.h"
#include "views/session.h"

namespace {

using std::chrono::milliseconds;
using Kind = Finding::Kind;

constexpr milliseconds kFoundMayTake(3000);  // for the instrument that was found
constexpr std::chrono::seconds kSearchMayTake(36);

/// The session's address and patience while it works with what was found.
class Borrowed {
 public:
  explicit Borrowed(Logger& logger)
      : logger_(logger), address_(logger.GetAddress()), patience_(logger.GetPatience()) {}
  ~Borrowed() {
    logger_.SetAddress(address_);
    logger_.SetPatience(patience_);
  }
  Borrowed(const Borrowed&) = delete;
  Borrowed& operator=(const Borrowed&) = delete;

 private:
  Logger& logger_;
  Address address_;
  milliseconds patience_;
};

/// Returns whether an instrument answers, or tells why not.
bool Find(Search& search, std::string& whyNot) {
  whyNot = "none answers";
  try {
    if (search.Find()) return true;
    if (!search.IsEchoed()) {
      whyNot +=
          ", neither AK stations 0 to 9 nor GNP: look at the cable, at the gateway (systemctl "
          "status 'qmx-gateway@*' on the controller) and at its agent";
    }
  } catch (const Failure& failure) {
    if (failure.status != kBroken) throw;
    whyNot = "none was asked: the line does not fall silent";
  }
  return false;
}

void TellLine(const Session& session, const Search& search, Findings& findings) {
  const bool remote = session.device.rfind(TcpLine::kPrefix, 0) == 0;
  findings.Add(Kind::kOk, "port",
               session.device + (remote ? " is reached" : " is open, for nobody else"));
  if (search.IsEchoed()) {
    findings.Add(
        Kind::kLook, "line",
        "what is sent comes back: there is a loopback plug, or a cable that joins its two wires");
  }
  if (search.HasOthers()) findings.Add(Kind::kLook, "line", "somebody else asks on this line");
  if (!search.Noise().empty()) {
    findings.Add(Kind::kLook, "line",
                 "it brings what is no frame: " + Visible(search.Noise()) +
                     " (another speed than 9600 baud, another protocol, a bad cable)");
  }
  if (findings.All().size() == 1)
    findings.Add(Kind::kOk, "line", "silent before the first request");
}

/// Whether the instrument can be asked more.
bool TellAddress(const Session& session, const Search& search, Findings& findings) {
  const Address& asked = session.logger.GetAddress();
  const Address& found = search.Found();
  const auto tell = [&](const char* topic, bool same, const std::string& what) {
    findings.Add(same ? Kind::kOk : Kind::kFound, topic, what);
  };
  tell("protocol", search.IsGNP() == session.gnp, search.IsGNP() ? "GNP" : "AK");
  if (search.IsGNP()) {
    tell("id", asked.id.empty() || asked.id == found.id, found.id);
    return true;
  }
  tell("station", found.station == asked.station, std::string(1, found.station));
  if (search.HasChannel()) {
    tell("channel", found.channel == asked.channel, found.channel);
  } else {
    findings.Add(Kind::kLook, "channel",
                 "none of the " + std::to_string(search.Channels()) +
                     " that were tried, K0 to K9, A0 and on to " + found.channel +
                     "; the instrument's qmxAKChannelNumber tells it");
  }
  return search.HasChannel();
}

std::string HowToAsk(const Session& session, const Search& search) {
  const Address& found = search.Found();
  const Address usual;
  std::string options;
  if (search.IsGNP()) {
    options = " --protocol gnp --id " + found.id;
  } else {
    if (found.station != usual.station) options += std::string(" --station ") + found.station;
    if (!search.HasChannel()) {
      options += " --channel CHANNEL";
    } else if (found.channel != usual.channel) {
      options += " --channel " + found.channel;
    }
  }
  return "qmx-console" + options + " " + session.device + (search.IsGNP() ? " da" : "");
}

void ShowJson(const Search& search, bool found, const std::string& use, const Findings& findings) {
  std::string json;
  for (const Finding& finding : findings.All()) {
    json += (json.empty() ? "" : ",") + JsonObject({{"kind", JsonText(KindText(finding.kind))},
                                                    {"topic", JsonText(finding.topic)},
                                                    {"text", JsonText(finding.text)}});
  }
  std::vector<std::pair<std::string, std::string>> members = {{"command", JsonText("check")},
                                                              {"found", found ? "true" : "false"}};
  if (found && search.IsGNP()) {
    members.insert(members.end(),
                   {{"protocol", JsonText("gnp")}, {"id", JsonText(search.Found().id)}});
  } else if (found) {
    members.insert(members.end(),
                   {{"protocol", JsonText("ak")},
                    {"station", JsonText(std::string(1, search.Found().station))},
                    {"channel", search.HasChannel() ? JsonText(search.Found().channel) : "null"}});
  }
  if (found) members.emplace_back("use", JsonText(use));
  members.emplace_back("findings", "[" + json + "]");
  std::cout << JsonObject(members) << std::endl;
}

}  // namespace

void Check(Session& session, const CheckOptions& options) {
  const Borrowed borrowed(session.logger);
  Findings findings(!session.report.Json());
  JudgeOptions judging{options.newest, !options.page.empty(),
                       std::chrono::steady_clock::now() + kSearchMayTake};
  Search search(session.line, session.logger.GetAddress(), session.gnp);
  std::string whyNot;
  const bool found = Find(search, whyNot);
  TellLine(session, search, findings);
  if (!found) {
    findings.Add(Kind::kLook, "instrument", whyNot);
  } else if (TellAddress(session, search, findings)) {
    session.logger.SetAddress(search.Found());
    session.logger.SetPatience(kFoundMayTake);
    session.numbers.Forget();
    Judge(session, search.IsGNP(), judging, findings);
  }
  const std::string use = found ? HowToAsk(session, search) : "";
  if (session.report.Json()) {
    ShowJson(search, found, use, findings);
  } else if (found) {
    std::cout << "Use: " << use << std::endl;
  }
  if (!options.page.empty()) {
    WriteCheckPage(options.page, session.device, use, findings);
  }
  if (!found) throw Failure(kNoReply, "No instrument was found.");
  if (!findings.AreGood()) throw Failure(kRefused, "There is something to look at.");
}
