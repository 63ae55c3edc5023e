// Names what keeps a line from being served, and the cure.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "doctor/bundle.h"
#include "doctor/checks.h"
#include "doctor/pages.h"

namespace {

struct Options {
  std::string device;
  bool json = false;
  std::string textfile;
  std::string bundle;
};

/// Under its name only when it is whole.
bool WriteWhole(const std::string& path, const std::string& text) {
  const std::string draft = path + ".new";
  std::ofstream file(draft);
  file << text;
  file.close();
  std::error_code error;
  if (file) std::filesystem::rename(draft, path, error);
  if (file && !error) return true;
  std::fprintf(stderr, "%s cannot be written.\n", path.c_str());
  return false;
}

/// The unit that serves the device; without a device the first one, whose device it becomes.
Unit ChooseUnit(std::string& device, Report& report) {
  const std::vector<Unit> units = FindUnits();
  if (!device.empty()) return UnitOf(device, units);
  std::string names;
  for (const Unit& unit : units) {
    if (unit.enabled) names += (names.empty() ? "" : ", ") + unit.name;
  }
  if (names.find(',') != std::string::npos) {
    report.Look("lines",
                "more than one line is enabled: " + names +
                    "; they share one register list, one station and one database pointer",
                "systemctl list-units 'qmx-gateway@*'", kLinesPage);
  }
  for (const Unit& unit : units) {
    if (!unit.enabled && units.size() > 1) continue;
    device = unit.device;
    return unit;
  }
  return {};
}

int Examine(Options options) {
  Report report;
  Instrument instrument;
  const Unit unit = ChooseUnit(options.device, report);
  Agent agent;
  CheckModules(agent, report);
  CheckAgent(agent, instrument, report);
  // Nobody writes registers every minute.
  if (options.textfile.empty()) CheckWriting(agent, instrument, report);
  CheckRegisters(agent, instrument, report);
  CheckRegisterList(instrument, unit, report);
  CheckDatabase(instrument, options.device, unit, report);
  CheckDevice(options.device, unit, report);
  CheckUnit(unit, report);
  CheckClock(unit, report);
  if (!options.textfile.empty()) {
    return WriteWhole(options.textfile, AsMetrics(report)) ? kNothing : kCouldNotCheck;
  }
  std::fputs((options.json ? AsJson(report) : AsText(report)).c_str(), stdout);
  if (options.bundle.empty()) return report.ExitStatus();
  const std::string contents = WriteBundle(options.bundle, report, agent, instrument, unit);
  if (contents.empty()) {
    std::fprintf(stderr, "%s cannot be written.\n", options.bundle.c_str());
    return kCouldNotCheck;
  }
  std::fprintf(options.json ? stderr : stdout,
               "\n%s holds, in the folder qmx-fault-report:\n%sNo passwords and no host name; the "
               "registers' texts are as the operators wrote them.\n",
               options.bundle.c_str(), contents.c_str());
  return report.ExitStatus();
}

}  // namespace

int main(int argc, char* argv[]) {
  Options options;
  CLI::App app{"Names what keeps a line of qmx-gateway from being served, and the cure"};
  app.set_version_flag("--version", QMX_VERSION);
  app.add_option("DEVICE", options.device,
                 "Serial device of the line; without it that of the enabled service");
  app.add_flag("--json", options.json, "Print one JSON object");
  app.add_option("--textfile", options.textfile,
                 "Write verdicts and figures into this file, for node_exporter, and print nothing");
  app.add_option("--bundle", options.bundle, "Write what a fault report needs into this .tar.gz");
  CLI11_PARSE(app, argc, argv);
  return Examine(options);
}
