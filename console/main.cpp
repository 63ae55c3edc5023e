// The other end of the line: asks the gateway as a data logger asks, and shows what came back.
#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <optional>

#include "commands.h"
#include "line/failure.h"
#include "line/line.h"
#include "logger/logger.h"
#include "prompt.h"

namespace {

struct Options {
  std::string device;
  std::string station = "4";
  std::string channel = "K0";
  std::string id;
  std::string protocol = "ak";
  double timeout = 10;
  bool trace = false;
  std::string record;
  bool json = false;
};

void AddOptions(CLI::App& app, Options& options) {
  app.set_version_flag("--version", QMX_VERSION);
  app.add_option("DEVICE", options.device,
                 "Serial device, such as /dev/ttyUSB0, or tcp://HOST:PORT");
  app.add_option("--station", options.station, "AK station, one character")
      ->check([](const std::string& text) { return text.size() == 1 ? "" : "one character"; })
      ->capture_default_str();
  app.add_option("--channel", options.channel, "AK channel, two characters")
      ->check([](const std::string& text) { return text.size() == 2 ? "" : "two characters"; })
      ->capture_default_str();
  app.add_option("--id", options.id, "Instrument id of GNP requests, three digits")
      ->check(Digits(3));
  app.add_option("--protocol", options.protocol, "What the line speaks: ak or gnp")
      ->check(CLI::IsMember({"ak", "gnp"}))
      ->capture_default_str();
  app.add_option("--timeout", options.timeout, "Seconds of silence that end the wait for a reply")
      ->check(CLI::Range(0.1, 3600.0))
      ->capture_default_str();
  app.add_flag("--trace", options.trace, "Show every byte both ways on standard error");
  app.add_option("--record", options.record, "Write every byte both ways into this file");
  app.add_flag("--json", options.json, "Print one JSON object for each reply");
}

/// Everything that the commands work with, opened when it is first needed.
class Workplace {
 public:
  explicit Workplace(const Options& options)
      : line_(Opened(options)),
        logger_(*line_, {options.station[0], options.channel, options.id},
                std::chrono::milliseconds(static_cast<long>(options.timeout * 1000))),
        numbers_(logger_),
        report_(options.json),
        session_{*line_, logger_, numbers_, report_, options.protocol == "gnp"} {}
  Session& GetSession() { return session_; }

 private:
  static std::unique_ptr<Line> Opened(const Options& options) {
    auto transcript = std::make_shared<Transcript>();
    transcript->SetTrace(options.trace);
    if (!options.record.empty()) transcript->Record(options.record, options.device);
    return OpenLine(options.device, transcript);
  }

  std::unique_ptr<Line> line_;
  Logger logger_;
  RegisterNumbers numbers_;
  Report report_;
  Session session_;
};

}  // namespace

int main(int argc, char* argv[]) {
  Options options;
  CLI::App app{
      "The data logger's side of the serial line of qmx-gateway. Without a command: a prompt."};
  AddOptions(app, options);
  std::optional<Workplace> workplace;
  const auto session = [&]() -> Session* {
    if (!workplace && options.device.empty()) return nullptr;
    if (!workplace) workplace.emplace(options);
    return &workplace->GetSession();
  };
  AddCommands(app, session);
  app.require_subcommand(0, 1);
  try {
    app.parse(argc, argv);
    if (app.get_subcommands().empty()) {
      if (session() == nullptr) throw CLI::RequiredError("DEVICE");
      return Prompt(*session());
    }
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kDone : kUsage;
  } catch (const Failure& failure) {
    if (workplace) workplace->GetSession().line.GetTranscript().EndLine();
    std::cerr << failure.what() << std::endl;
    return failure.status;
  } catch (const std::exception& failure) {
    std::cerr << failure.what() << std::endl;
    return kUsage;
  }
  return kDone;
}
