// Measures the daemon beside the floor that the wire and the libraries set, in one run, and prints
// the table of docs/measurements.md.
//
//   measures             all measures, in the laboratory
//   measures NAME...     these alone: requests, listing, records, instructions, start, rest,
//                        download, growth, page
//   measures --gets N    only reads four registers N times (what callgrind counts for the floor)
//   measures --serve DEVICE SIZE OBJECTS REPLY
//                        reads these objects for each request of this size, and replies so
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <set>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "bare.h"
#include "console_measures.h"
#include "floor.h"
#include "measure.h"
#include "station.h"

namespace {

/// What AREG reads: the three values of every AK request and the register.
const std::vector<std::string> kAREG = {"qmxAKStationCode.0", "qmxAKChannelNumber.0",
                                        "qmxStatusCondition.0", "qmxAveragingTime.0"};
const std::vector<std::string> kBlock = {"qmxInstrumentID.0", "qmxMassConcentration.0",
                                         "qmxOperatingMode.0", "qmxStatusCondition.0",
                                         "qmxLocationID.0"};

/// Turnaround of a request beside bare gets of the same objects and an echo of the same bytes,
/// taken one after the other, and beside one process that does both; each round has one of each.
void Turnaround(const std::string& name, Station& station, BareSession& bare,
                const std::string& request, const std::string& end,
                const std::vector<std::string>& gets, int rounds) {
  std::string reply;
  station.Ask(request, end, &reply);
  const Floor echo(request, reply, {});
  const Floor both(request, reply, gets);
  std::vector<double> here;
  std::vector<double> separate;
  std::vector<double> together;
  for (int i = 0; i < rounds; ++i) {
    // Longer than the gateway's pause and its read of the mode: nobody finds the instrument awake
    // because another has just asked it.
    const auto rest = [] { std::this_thread::sleep_for(std::chrono::milliseconds(80)); };
    rest();
    here.push_back(station.Ask(request, reply.size()));
    rest();
    const double read = OnInstrumentSide([&] { bare.Get(gets); });
    rest();
    separate.push_back(read + echo.Ask());
    rest();
    together.push_back(both.Ask());
  }
  const auto row = [&](const std::string& floor, const std::vector<double>& times,
                       const char* aim) {
    Row((name + "; " + std::to_string(gets.size()) + floor).c_str(), Milliseconds(Median(here)),
        Milliseconds(Median(times)), Median(here) / Median(times), aim);
  };
  row(" gets, and an echo", separate, "1.10");
  row(" gets and the echo in one process", together, "");
}

void Requests() {
  Station station({});
  BareSession bare;
  const std::string areg = RequestFor(RegisterNumber(station, "qmxAveragingTime.0"));
  Turnaround("AREG, turnaround", station, bare, areg, kEnd, kAREG, 300);

  const std::string number = std::to_string(RegisterNumber(station, "qmxMassConcentration.0"));
  Write(station, "qmxPRCNumber.0", number + "0" + number + "0" + number);
  Write(station, "qmxRS232Mode.0", "1");
  std::vector<std::string> gets = {"qmxPRCNumber.0"};
  for (int block = 0; block < 3; ++block) gets.insert(gets.end(), kBlock.begin(), kBlock.end());
  gets.emplace_back("qmxResponseEnd.0");
  Turnaround("DA, three blocks", station, bare, Request("DA") + "04", "\r\n", gets, 200);
}

/// Seconds for LPRC to the end of its first reply, and for a bare walk of the same tree.
std::pair<double, double> Walks(int registers, int rounds, double* snmpwalk) {
  // 39 registers and the three objects of the other module are there without the diagnostic ones.
  Station station({"--diagnostics", std::to_string(registers - 39)});
  BareSession bare;
  std::vector<double> here;
  std::vector<double> floor;
  std::vector<double> program;
  for (int i = 0; i < rounds; ++i) {
    std::string reply;
    here.push_back(station.Ask(Request("4LPRC K0"), kEnd, &reply));
    if (reply != Reply("4LPRC 0 " + std::to_string(registers)))
      throw std::runtime_error(Visible(reply));
    station.TheLine().ReceiveUntil("\r\n");
    floor.push_back(OnInstrumentSide([&] { bare.Walk("cobaltRGX"); }));
    if (snmpwalk == nullptr) continue;
    program.push_back(OnInstrumentSide([] {
      Child walk({"snmpwalk", "-v1", "-c", "pelmar", "localhost", "cobaltRGX"});
      walk.Wait(60000);
    }));
  }
  if (snmpwalk != nullptr) *snmpwalk = Median(program);
  return {Median(here), Median(floor)};
}

void Listing() {
  double snmpwalk = 0;
  const auto [here, floor] = Walks(1500, 15, &snmpwalk);
  Row("LPRC, 1,500 registers; a bare walk", Milliseconds(here), Milliseconds(floor), here / floor,
      "1.15");
  Row("LPRC, 1,500 registers; snmpwalk", Milliseconds(here), Milliseconds(snmpwalk),
      here / snmpwalk, "1.00");
}

struct Download {
  double cpu;
  double seconds;
  std::size_t bytes;
};

Download Fetch(Station& station, int records) {
  Write(station, "qmxDatabasePointer.0", "1999-01-01");
  station.WaitForGateway();
  const double before = CpuSeconds(station.Gateway().Id());
  Download download{};
  const std::string last = "F-2291\r\n";
  download.seconds = Seconds([&] {
    station.TheLine().Send(Request("4ASTO K0 1000000"));
    download.bytes = station.TheLine().ReceiveUntil(kEnd, 60000).size();
    for (int i = 0; i < records; ++i)
      download.bytes += station.TheLine().ReceiveUntil("\n", 60000).size();
  });
  station.WaitForGateway();
  download.cpu = CpuSeconds(station.Gateway().Id()) - before;
  return download;
}

/// Times that a reader who takes bytes as fast as the wire brings them finds none, in ten seconds.
int Starved(Station& station) {
  Write(station, "qmxDatabasePointer.0", "1999-01-01");
  station.Ask(Request("4ASTO K0 1000000"), kEnd);
  int starved = 0;
  for (int tick = 0; tick < 1000; ++tick) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    // 9600 baud, 11 bits a byte: not quite nine bytes in 10 ms.
    if (station.TheLine().Receive(9, 1).size() < 9) ++starved;
  }
  return starved;
}

void Records(Database& database) {
  FillTable(database, 20000);
  Station station({});
  const Download download = Fetch(station, 20000);
  const double wire = static_cast<double>(download.bytes) * 11 / 9600;
  Row("ASTO, 20,000 records of 10 columns, CPU; the wire's time", Number(download.cpu, "s"),
      Number(wire, "s", 0), download.cpu / wire, "0.0005");
  std::printf("| ASTO, times that a reader at line speed waited, of 1,000 | %d | 0 | | 0 |\n",
              Starved(station));
}

void Start() {
  std::vector<double> here;
  std::vector<double> walk;
  for (int i = 0; i < 5; ++i) {
    std::unique_ptr<Station> station;
    here.push_back(Seconds([&] {
      station = std::make_unique<Station>(std::vector<std::string>{});
      station->TheLine().Send(RequestFor(1));
      station->TheLine().ReceiveUntil(kEnd);
    }));
    // The instrument's own start is not the daemon's.
    BareSession bare;
    walk.push_back(OnInstrumentSide([&] { bare.Walk("cobaltRGX"); }));
    station.reset();
    here.back() -= Seconds([] {
      Child instrument({Program("qmx-instrument")});
      WaitFor([&] { return instrument.Output().find("udp port") != std::string::npos; });
    });
  }
  const double floor = 2 + Median(walk);
  Row("start to first reply; 2 s and a walk", Number(Median(here), "s", 3), Number(floor, "s", 3),
      Median(here) / floor, "0.1 s above");
}

/// One of the many kinds of request, and all of its reply.
void AskMixed(Station& station, int i, int number) {
  const char* const kMix[] = {"4LCFG K0",     "4LDHD K0",   "4SF09 K0",
                              "4AREG K0 999", "4ASTO K0 1", "4LPRC K0"};
  const std::string text = kMix[i / 2 % 6];
  std::string reply;
  station.Ask(i % 2 == 0 ? RequestFor(number) : Request(text), kEnd, &reply);
  const bool more = i % 2 != 0 && text == "4LPRC K0";
  if (more || reply == Reply("4ASTO 0 1")) station.TheLine().ReceiveUntil("\r\n");
}

void Rest() {
  Station station({});
  const pid_t gateway = station.Gateway().Id();
  const int number = RegisterNumber(station, "qmxAveragingTime.0");
  long early = 0;
  for (int i = 0; i < 3000; ++i) {
    if (i == 300) early = ResidentMemory(gateway);
    AskMixed(station, i, number);
  }
  const auto row = [memory = ResidentMemory(gateway)](const char* measure, long floor,
                                                      const char* aim) {
    Row(measure, Number(static_cast<double>(memory), "kB", 0),
        Number(static_cast<double>(floor), "kB", 0),
        static_cast<double>(memory) / static_cast<double>(floor), aim);
  };
  row("memory after 3,000 mixed requests; after 300", early, "flat");
  const Child gets({Program("measures"), "--gets", "100000000"});
  std::this_thread::sleep_for(std::chrono::seconds(3));
  row("memory after 3,000 mixed requests; bare gets", ResidentMemory(gets.Id()), "2 MB above");

  const double before = CpuSeconds(gateway);
  std::this_thread::sleep_for(std::chrono::seconds(20));
  const double idle = (CpuSeconds(gateway) - before) / 20;
  std::printf("| idle CPU, of one core | %.4f %% | 0 | | 0.1 %% |\n", idle * 100);
}

/// Instructions of one AREG from the last byte of the request on, and of four bare gets.
void Instructions() {
  const auto count = [](const std::string& file, const std::string& function) {
    Child annotate({"callgrind_annotate", "--inclusive=yes", "--threshold=100", file});
    annotate.Wait(60000);
    std::istringstream lines(annotate.Output());
    for (std::string line; std::getline(lines, line);) {
      if (line.find(function) == std::string::npos) continue;
      line.erase(std::remove(line.begin(), line.end(), ','), line.end());
      return std::strtod(line.c_str(), nullptr);
    }
    throw std::runtime_error("callgrind knows no " + function + ": " +
                             annotate.Output().substr(0, 2000));
  };
  constexpr int kRequests = 50;
  const std::string here = LabPath("callgrind.gateway");
  {
    Station station({}, {"valgrind", "--tool=callgrind", "--callgrind-out-file=" + here});
    const std::string request = RequestFor(29);
    // Slower by far under valgrind: the pause behind each request is not relied on.
    for (int i = 0; i < kRequests; ++i) {
      station.TheLine().Send(request);
      if (station.TheLine().ReceiveUntil(kEnd, 60000).empty())
        throw std::runtime_error("no reply under valgrind");
    }
    station.Gateway().Signal(SIGTERM);
    station.Gateway().Wait(30000);
  }
  const std::string floor = LabPath("callgrind.gets");
  {
    Child instrument({Program("qmx-instrument"), "--type", "TwinexVARO"});
    WaitFor([&] { return instrument.Output().find("udp port") != std::string::npos; });
    Child gets({"valgrind", "--tool=callgrind", "--callgrind-out-file=" + floor,
                Program("measures"), "--gets", std::to_string(kRequests)});
    gets.Wait(60000);
  }
  const double areg =
      (count(here, "CGateway::HandleAKRequest()") - count(here, "CSerialPort::ReceiveAKFrame")) /
      kRequests;
  const double gets = count(floor, "BareSession::Get(") / kRequests;
  Row("AREG, instructions behind the request; four gets", Number(areg / 1000, "thousand", 1),
      Number(gets / 1000, "thousand", 1), areg / gets, "1.15");
}

void Growth(Database& database) {
  std::printf(
      "\n| LPRC, registers | time | per register | bare walk | ratio |\n|---|---|---|---|---|\n");
  for (const int registers : {150, 1500, 6000}) {
    const auto [here, floor] = Walks(registers, 5, nullptr);
    std::printf("| %d | %.1f ms | %.1f us | %.1f ms | %.3f |\n", registers, here * 1e3,
                here * 1e6 / registers, floor * 1e3, here / floor);
  }
  std::printf("\n| ASTO, records | bytes | time | CPU | CPU per record |\n|---|---|---|---|---|\n");
  for (const int records : {1000, 10000, 100000}) {
    FillTable(database, records);
    Station station({});
    const Download download = Fetch(station, records);
    std::printf("| %d | %zu | %.2f s | %.3f s | %.1f us |\n", records, download.bytes,
                download.seconds, download.cpu, download.cpu * 1e6 / records);
    std::fflush(stdout);
  }
}

}  // namespace

int main(int argc, char* argv[]) {
  try {
    if (argc == 3 && std::strcmp(argv[1], "--gets") == 0) {
      BareSession bare;
      for (long i = std::strtol(argv[2], nullptr, 10); i > 0; --i) bare.Get(kAREG);
      return 0;
    }
    if (argc == 6 && std::strcmp(argv[1], "--serve") == 0) {
      return ServeBare(argv[2], std::strtoul(argv[3], nullptr, 10), argv[4], argv[5]);
    }
    Database database;
    FillTable(database, 100);
    const std::pair<const char*, std::function<void()>> measures[] = {
        {"requests", Requests},
        {"listing", Listing},
        {"records", [&] { Records(database); }},
        {"instructions", Instructions},
        {"start", Start},
        {"rest", Rest},
        {"download", [&] { MeasureDownload(database); }},
        {"growth", [&] { Growth(database); }},
        {"page", MeasurePage},
    };
    const std::set<std::string> chosen(argv + 1, argv + argc);
    std::set<std::string> known;
    for (const auto& [name, measure] : measures) known.insert(name);
    for (const std::string& name : chosen) {
      if (known.count(name) == 0) throw std::runtime_error("There is no measure " + name + ".");
    }
    std::printf("| measure; floor | here | floor | ratio | aim |\n|---|---|---|---|---|\n");
    for (const auto& [name, measure] : measures) {
      if (chosen.empty() || chosen.count(name) != 0) measure();
    }
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return 1;
  }
  return 0;
}
