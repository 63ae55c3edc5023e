// A simulated instrument: an SNMP agent with live registers, and a logger that fills a database as
// the instrument would.
#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <exception>
#include <fstream>
#include <memory>
#include <string>

#include "agent.h"
#include "record_log.h"
#include "registers.h"
#include "script.h"
#include "walk.h"

namespace {

volatile std::sig_atomic_t g_stop = 0;

struct Options {
  Settings settings;
  int port = 161;
  std::string mibs;
  std::string walk;
  std::string secondWalk;
  std::string faults;
  int interval = 0;
  int history = 0;
};

void AddOptions(CLI::App& app, Options& options) {
  Settings& settings = options.settings;
  app.set_version_flag("--version", QMX_VERSION);
  CLI::Option* walk = app.add_option("--walk", options.walk,
                                     "Be the instrument of which snmpwalk printed this file")
                          ->check(CLI::ExistingFile);
  app.add_option("--second-walk", options.secondWalk,
                 "A later walk: numbers that differ move between both")
      ->check(CLI::ExistingFile)
      ->needs(walk);
  app.add_option("--faults", options.faults,
                 "Objects that are silent, late, refused, ..., and when")
      ->check(CLI::ExistingFile);
  app.add_option("--type", settings.type, "Instrument type, such as Twinex or MonardVARO")
      ->excludes(walk)
      ->capture_default_str();
  app.add_option("--mode", settings.mode, "Protocol of the serial line: 0 is AK, 1 is GNP")
      ->excludes(walk)
      ->capture_default_str();
  app.add_option("--station", settings.station, "AK station code")
      ->excludes(walk)
      ->capture_default_str();
  app.add_option("--channel", settings.channel, "AK channel, two characters")
      ->excludes(walk)
      ->capture_default_str();
  app.add_option("--port", options.port, "UDP port of the SNMP agent, on the loopback address")
      ->check(CLI::Range(1, 65535))
      ->capture_default_str();
  app.add_option("--mibs", options.mibs,
                 "Folder of the MIB modules [the SNMP library's own folders]")
      ->check(CLI::ExistingDirectory);
  app.add_option("--diagnostics", settings.diagnostics, "Number of diagnostic registers")
      ->check(CLI::Range(0, 100000))
      ->excludes(walk)
      ->capture_default_str();
  CLI::Option* logging = app.add_option("--log-interval", options.interval,
                                        "Log a record every so many seconds; 0 logs none")
                             ->check(CLI::Range(0, 86400))
                             ->excludes(walk)
                             ->capture_default_str();
  app.add_option("--history", options.history,
                 "Records that an empty data table is filled with first")
      ->check(CLI::Range(0, 1000000))
      ->needs(logging)
      ->capture_default_str();
}

void ReadWalk(Objects& objects, const std::string& file) {
  int line = 0;
  try {
    std::ifstream text(file, std::ios::binary);
    for (const Walked& walked : ParseWalk(text)) {
      line = walked.line;
      objects.Put(walked.name, walked.type, walked.value);
    }
  } catch (const std::runtime_error& error) {
    const std::string where = line > 0 ? "line " + std::to_string(line) + ": " : "";
    throw std::runtime_error(file + ": " + where + error.what());
  }
  if (objects.All().empty()) throw std::runtime_error(file + ": no object");
}

/// What the instrument does when one of its registers is written.
void React(Registers& registers, const Identifier& written) {
  const Value* value = registers.Find(written);
  if (value == nullptr) return;
  if (written == Resolve(kOperatingMode)) {
    std::printf("operating mode %.0f\n", Number(*value));
  } else if (written == Resolve(kCommand)) {
    const std::string& command = value->bytes;
    const std::string answer = (command == "SETTIME" ? "done: " : "unknown: ") + command;
    registers.Set(kCommandAnswer, Encode('s', answer));
    std::printf("command %s\n", answer.c_str());
  }
}

void Run(const Options& options) {
  const bool walked = !options.walk.empty();
  const Agent agent(options.mibs, !walked                 ? "QMX-MIB:QMX-REGLOG-MIB"
                                  : !options.mibs.empty() ? "ALL"
                                                          : "");
  Objects objects;
  Objects second;
  if (walked) ReadWalk(objects, options.walk);
  if (!options.secondWalk.empty()) ReadWalk(second, options.secondWalk);
  Registers registers = walked ? Registers(objects, second) : Registers(objects, options.settings);
  Script script = options.faults.empty() ? Script() : Script(options.faults);
  RecordLog log(registers, options.interval, options.history);
  Agent::Open(objects, options.port, [&](const Identifier& written) {
    if (!walked) React(registers, written);
  });
  const auto tick = [&] {
    script.Tick(objects);
    log.Tick();
  };
  Agent::EverySecond([&] {
    registers.Drift();
    tick();
  });
  for (const int signal : {SIGINT, SIGTERM}) {
    std::signal(signal, [](int) { g_stop = 1; });
  }
  std::printf("qmx-instrument: %s on udp port %d\n",
              walked ? options.walk.c_str() : options.settings.type.c_str(), options.port);
  tick();
  while (g_stop == 0) Agent::Serve();
}

}  // namespace

int main(int argc, char* argv[]) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  Options options;
  CLI::App app{"Simulated particulate-monitoring instrument: SNMP agent and record logger"};
  AddOptions(app, options);
  CLI11_PARSE(app, argc, argv);
  try {
    Run(options);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "qmx-instrument: %s\n", failure.what());
    return 1;
  }
  return 0;
}
