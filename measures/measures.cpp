// Measures the daemon beside the floor that the wire and the libraries set, in one run, and prints
// the table of docs/measurements.md.
//
//   measures             all measures, in the laboratory
//   measures NAME...     these alone: requests, listing, records, instructions, start, rest,
//                        download, growth, page
//   measures --gets N    only reads four registers N times (what callgrind counts for the floor)
//   measures --serve DEVICE SIZE OBJECTS REPLY
//                        reads these objects for each request of this size, and replies so
#include <fcntl.h>
#include <signal.h>
#include <termios.h>
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
#include "paced_line.h"
#include "serial/line_settings.h"
#include "station.h"

namespace {

constexpr char kEnd[] = "\x03\r\n";
/// What AREG reads: the three values of every AK request and the register.
const std::vector<std::string> kAREG = {"qmxAKStationCode.0", "qmxAKChannelNumber.0",
                                        "qmxStatusCondition.0", "qmxAveragingTime.0"};
const std::vector<std::string> kBlock = {"qmxInstrumentID.0", "qmxMassConcentration.0",
                                         "qmxOperatingMode.0", "qmxStatusCondition.0",
                                         "qmxLocationID.0"};

void Row(const char* measure, const std::string& here, const std::string& floor, double ratio,
         const char* aim) {
  std::printf(ratio < 0.01 ? "| %s | %s | %s | %.5f | %s |\n" : "| %s | %s | %s | %.3f | %s |\n",
              measure, here.c_str(), floor.c_str(), ratio, aim);
  std::fflush(stdout);
}

std::string Number(double number, const char* unit, int digits = 2) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*f %s", digits, number, unit);
  return text;
}

std::string Milliseconds(double seconds) { return Number(seconds * 1e3, "ms", 3); }

std::string RequestFor(int number) { return Request("4AREG K0 " + std::to_string(number)); }

/// The position of a register in the list, which is its number for this type of instrument.
int RegisterNumber(Station& station, const std::string& name) {
  station.Ask(Request("4LPRC K0"), kEnd);
  const std::string listing = station.TheLine().ReceiveUntil("\r\n");
  const std::size_t at = ("," + listing).find("," + name + ",");
  if (at == std::string::npos) throw std::runtime_error("no register " + name);
  int number = 1;
  for (std::size_t i = 0; i < at; ++i) number += listing[i] == ',' ? 1 : 0;
  return number;
}

void Write(Station& station, const std::string& name, const std::string& value) {
  const std::string number = std::to_string(RegisterNumber(station, name));
  station.Ask(Request("4EREG K0 " + number + " " + value), kEnd);
}

double OnInstrumentSide(const std::function<void()>& work) {
  const InstrumentSide side;
  return Seconds(work);
}

/// The least that can stand in the gateway's place: behind the last byte of each request, the bare
/// gets, and the reply.
int ServeBare(const char* device, std::size_t requestSize, const std::string& objects,
              const std::string& reply) {
  BareSession bare;
  std::vector<std::string> gets;
  std::istringstream names(objects);
  for (std::string name; names >> name;) gets.push_back(name);
  const int port = open(device, O_RDWR | O_NOCTTY);
  termios settings{};
  tcgetattr(port, &settings);
  SetLine(settings);
  tcsetattr(port, TCSANOW, &settings);
  char byte = 0;
  std::size_t count = 0;
  for (ssize_t got = 0; (got = read(port, &byte, 1)) >= 0;) {
    if (got == 0 || ++count % requestSize != 0) continue;
    bare.Get(gets);
    if (write(port, reply.data(), reply.size()) < 0) break;
  }
  return 1;
}

/// ServeBare in a process of its own, on another pseudo-terminal.
class Floor {
 public:
  Floor(std::string request, const std::string& reply, const std::vector<std::string>& gets)
      : request_(std::move(request)), replySize_(reply.size()) {
    std::string objects;
    for (const std::string& name : gets) objects += name + " ";
    std::vector<std::string> command = {Program("measures"),
                                        "--serve",
                                        line_.Device(),
                                        std::to_string(request_.size()),
                                        objects,
                                        reply};
    const InstrumentSide side;
    process_ = std::make_unique<Child>(command);
    if (!line_.Served()) throw std::runtime_error("no floor: " + process_->Errors());
  }

  double Ask() const {
    WaitUntilItReads(process_->Id(), line_.Device());
    Station::SendAllButOne(line_, request_);
    return Seconds([&] {
      line_.Send(request_.substr(request_.size() - 1));
      line_.Receive(replySize_);
    });
  }

 private:
  Line line_;
  std::string request_;
  std::size_t replySize_;
  std::unique_ptr<Child> process_;
};

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

void FillTable(Database& database, int records) {
  database.Run("DROP TABLE IF EXISTS LogEntry");
  database.Run(
      "CREATE TABLE LogEntry (time_stamp DATETIME, a DOUBLE, b DOUBLE, c DOUBLE, d DOUBLE, e "
      "DOUBLE, "
      "f DOUBLE, g DOUBLE, h INT, i VARCHAR(20), INDEX (time_stamp))");
  database.Run(
      "INSERT INTO LogEntry SELECT '2000-01-01' + INTERVAL seq SECOND, seq / 7, seq / 11, 16.67, "
      "11.25, "
      "64.5, 1009.25, 0.5, seq % 100, 'F-2291' FROM seq_1_to_" +
      std::to_string(records));
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

void RunToEnd(const std::vector<std::string>& command) {
  Child child(command);
  if (child.Wait(120000) != 0) throw std::runtime_error(command[0] + ": " + child.Errors());
}

/// The page of a file of records, beside adding its numbers up; and what a browser needs to show
/// it, beside showing nothing.
void Page() {
  const std::string file = LabPath("page.csv");
  const std::string page = LabPath("page.html");
  RunToEnd({"awk", "-v", "file=" + file, R"awk(BEGIN {
    printf "Date,Time,c1,c2,c3,c4,c5,c6,c7,c8,c9,c10" > file
    for (i = 0; i < 100000; ++i) {
      day = i / 1440
      printf "\n2020-%02d-%02d,%02d:%02d:00", 1 + day / 28, 1 + day % 28, i % 1440 / 60, i % 60 > file
      for (c = 1; c <= 10; ++c) printf ",%.3f", c * 10 + rand() > file
    }
    print "" > file })awk"});
  std::vector<double> here;
  std::vector<double> floor;
  for (int i = 0; i < 5; ++i) {
    here.push_back(Seconds([&] {
      RunToEnd({Program("qmx-console"), "report", file, "-o", page});
    }));
    floor.push_back(Seconds([&] {
      RunToEnd({"awk", "-F,", "{ for (i = 3; i <= NF; ++i) sum += $i } END { print sum }", file});
    }));
  }
  Row("page of 100,000 records of 10 columns; awk adding them up", Number(Median(here), "s"),
      Number(Median(floor), "s"), Median(here) / Median(floor), "3 s");
  const auto open = [](const std::string& address) {
    return Seconds([&] {
      RunToEnd({"chromium", "--headless", "--no-sandbox", "--disable-gpu", "--no-first-run",
                "--disable-background-networking", "--user-data-dir=" + LabPath("browser"),
                "--screenshot=" + LabPath("page.png"), address});
    });
  };
  open("about:blank");
  const double seconds = open("file://" + page);
  const double nothing = open("about:blank");
  Row("that page in a browser; an empty one", Number(seconds, "s"), Number(nothing, "s"),
      seconds / nothing, "2 s above");
}

/// A download over 9600 baud, with all that it asks and proves, beside the time that its records
/// take alone.
void DownloadRecords(Database& database) {
  FillTable(database, 3000);
  Station station({});
  PacedLine line(station.TheLine());
  const std::string file = LabPath("download.csv");
  const double here = Seconds([&] {
    Child console({Program("qmx-console"), line.Device(), "download", file});
    if (console.Wait(900000) != 0) throw std::runtime_error("download: " + console.Errors());
  });
  // CR LF on the line, LF in the file, which has a header besides.
  const std::string records = ReadFile(file);
  const double bytes = static_cast<double>(records.size() - records.find('\n') + 3000 - 1);
  Row("download of 3,000 records, proved, at 9600 baud; the wire's time for them",
      Number(here, "s"), Number(bytes * kSecondsPerByte, "s"), here / (bytes * kSecondsPerByte),
      "1.03");

  double longest = 0;
  for (const int after : {14000, 15000, 16000, 17000}) {
    Child console({Program("qmx-console"), line.Device(), "download", file + ".2"});
    std::this_thread::sleep_for(std::chrono::milliseconds(after));
    console.Signal(SIGINT);
    longest = std::max(longest, Seconds([&] { console.Wait(60000); }));
  }
  Row("an interrupt of it obeyed, at the longest of four", Number(longest, "s"), "5 s", longest / 5,
      "1");
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
        {"download", [&] { DownloadRecords(database); }},
        {"growth", [&] { Growth(database); }},
        {"page", Page},
    };
    const std::set<std::string> chosen(argv + 1, argv + argc);
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
