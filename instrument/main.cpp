// A simulated instrument: an SNMP agent with live registers, and a logger that fills a database as
// the instrument would.
#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <exception>
#include <string>

#include "agent.h"
#include "record_log.h"
#include "registers.h"

namespace {

volatile std::sig_atomic_t g_stop = 0;

/// What the instrument does when one of its registers is written.
void React(Registers& registers, const Register& written) {
  if (written.object == kOperatingMode) {
    std::printf("operating mode %d\n", std::get<std::int32_t>(written.value));
  } else if (written.object == kCommand) {
    const auto& command = std::get<std::string>(written.value);
    const std::string answer = (command == "SETTIME" ? "done: " : "unknown: ") + command;
    registers[kCommandAnswer].value = answer;
    std::printf("command %s\n", answer.c_str());
  }
}

}  // namespace

int main(int argc, char* argv[]) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  Settings settings;
  int port = 161;
  std::string mibs;
  int interval = 0;
  int history = 0;

  CLI::App app{"Simulated particulate-monitoring instrument: SNMP agent and record logger"};
  app.set_version_flag("--version", QMX_VERSION);
  app.add_option("--type", settings.type, "Instrument type, such as Twinex or MonardVARO")
      ->capture_default_str();
  app.add_option("--mode", settings.mode, "Protocol of the serial line: 0 is AK, 1 is GNP")
      ->capture_default_str();
  app.add_option("--station", settings.station, "AK station code")->capture_default_str();
  app.add_option("--channel", settings.channel, "AK channel, two characters")
      ->capture_default_str();
  app.add_option("--port", port, "UDP port of the SNMP agent, on the loopback address")
      ->check(CLI::Range(1, 65535))
      ->capture_default_str();
  app.add_option("--mibs", mibs, "Folder of the MIB modules [the SNMP library's own folders]")
      ->check(CLI::ExistingDirectory);
  app.add_option("--diagnostics", settings.diagnostics, "Number of diagnostic registers")
      ->check(CLI::Range(0, 100000))
      ->capture_default_str();
  CLI::Option* logging =
      app.add_option("--log-interval", interval, "Log a record every so many seconds; 0 logs none")
          ->check(CLI::Range(0, 86400))
          ->capture_default_str();
  app.add_option("--history", history, "Records that an empty data table is filled with first")
      ->check(CLI::Range(0, 1000000))
      ->needs(logging)
      ->capture_default_str();
  CLI11_PARSE(app, argc, argv);

  try {
    Registers registers(settings);
    RecordLog log(registers, interval, history);
    const Agent agent(registers, mibs, port,
                      [&registers](const Register& written) { React(registers, written); });
    Agent::EverySecond([&] {
      registers.Drift();
      log.Tick();
    });
    for (const int signal : {SIGINT, SIGTERM}) {
      std::signal(signal, [](int) { g_stop = 1; });
    }
    std::printf("qmx-instrument: %s on udp port %d\n", settings.type.c_str(), port);
    log.Tick();
    while (g_stop == 0) Agent::Serve();
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "qmx-instrument: %s\n", failure.what());
    return 1;
  }
  return 0;
}
