#include "command_line.h"

#include <CLI/CLI.hpp>
#include <iostream>
#include <optional>

#include "commands.h"
#include "line/failure.h"
#include "logger/logger.h"
#include "options.h"
#include "prompt.h"

namespace {

void AddOptions(CLI::App& app, Options& options) {
  app.set_version_flag("--version", QMX_VERSION);
  app.add_option("DEVICE", options.device,
                 "Serial device, such as /dev/ttyUSB0, tcp://HOST:PORT, or a line of the "
                 "configuration");
  AddLineOptions(app, options);
  app.add_flag("--trace", options.trace, "Show every byte both ways on standard error");
  app.add_option("--record", options.record, "Write every byte both ways into this file");
}

/// Everything that the commands work with, opened when it is first needed.
class Workplace {
 public:
  Workplace(const Options& options, const LineOpener& open)
      : line_(Opened(options, open)),
        logger_(*line_, options.GetAddress(), options.Patience()),
        numbers_(logger_),
        report_(options.json),
        session_{*line_, logger_, numbers_, report_, options.protocol == "gnp", options.device} {}
  Session& GetSession() { return session_; }

 private:
  static std::unique_ptr<Line> Opened(const Options& options, const LineOpener& open) {
    auto transcript = std::make_shared<Transcript>();
    transcript->SetTrace(options.trace);
    if (!options.record.empty()) transcript->Record(options.record, options.device);
    return open(options.device, transcript);
  }

  std::unique_ptr<Line> line_;
  Logger logger_;
  RegisterNumbers numbers_;
  Report report_;
  Session session_;
};

}  // namespace

int RunCommandLine(int argc, const char* const argv[], const LineOpener& open) {
  Options options;
  CLI::App app{
      "The data logger's side of the serial line of qmx-gateway. Without a command: a prompt."};
  AddOptions(app, options);
  std::optional<Workplace> workplace;
  const auto session = [&](bool byDefault) -> Session* {
    if (!byDefault && options.device.empty()) return nullptr;
    if (!workplace) FillIn(app, Settings::OfThisUser(), options);
    if (options.device.empty()) return nullptr;
    if (!workplace) workplace.emplace(options, open);
    return &workplace->GetSession();
  };
  AddCommands(app, session);
  app.require_subcommand(0, 1);
  try {
    app.parse(argc, argv);
    if (app.get_subcommands().empty()) {
      Session* const opened = session(true);
      if (opened == nullptr) throw CLI::RequiredError("DEVICE");
      const int status = Prompt(*opened, app, options);
      if (status != kDone) return status;
    }
    RequireOutput();
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 && std::cout.flush() ? kDone : kUsage;
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
