// Many requests of all kinds, each reply compared with what the simulated instrument and the
// database hold; memory and descriptors of the gateway watched.
//
//   tests/laboratory build/release/bin build/release/bin/soak [REQUESTS]
#include <cstdio>
#include <cstdlib>
#include <random>
#include <stdexcept>

#include "bare.h"
#include "station.h"

namespace {

constexpr char kEnd[] = "\x03\r\n";

void Expect(bool right, const std::string& request, const std::string& reply) {
  if (!right)
    throw std::runtime_error("wrong reply to " + Visible(request) + ": " + Visible(reply));
}

class Soak {
 public:
  Soak() {
    database_.Run("CREATE TABLE LogEntry (time_stamp DATETIME, mass INT, INDEX (time_stamp))");
    database_.Run(
        "INSERT INTO LogEntry SELECT '2020-01-01' + INTERVAL seq MINUTE, seq FROM seq_1_to_500");
    AskAK("LPRC K0", &list_);
    std::string listing = station_.TheLine().ReceiveUntil("\r\n");
    listing.resize(listing.size() - 2);
    for (std::size_t at = 0; at <= listing.size(); at = listing.find(',', at) + 1) {
      names_.push_back(listing.substr(at, listing.find(',', at) - at));
      if (listing.find(',', at) == std::string::npos) break;
    }
  }

  Child& Gateway() { return station_.Gateway(); }

  void One(unsigned kind, unsigned choice) {
    std::string reply;
    switch (kind) {
      case 0:
        Register(choice % names_.size());
        break;
      case 1: {
        const std::string value = std::to_string(static_cast<int>(choice % 100000) - 50000);
        AskAK("EREG K0 " + Number("qmxAveragingTime.0") + " " + value, &reply);
        Expect(reply ==
                   "\x02"
                   "4EREG 0 " +
                       Number("qmxAveragingTime.0") + kEnd,
               "EREG", reply);
        Expect(agent_.Print("qmxAveragingTime.0") == value, "EREG", value);
        break;
      }
      case 2:
        AskAK("LPRC K0", &reply);
        Expect(reply == list_, "LPRC", reply);
        station_.TheLine().ReceiveUntil("\r\n");
        break;
      case 3:
        AskAK("LCFG K0", &reply);
        Expect(reply == std::string("\x02"
                                    "4LCFG 0 1") +
                            kEnd,
               "LCFG", reply);
        break;
      case 4:
        AskAK("LDHD K0", &reply);
        Expect(reply == std::string("\x02"
                                    "4LDHD 0 Date,Time,mass") +
                            kEnd,
               "LDHD", reply);
        break;
      case 5:
        Records(1 + choice % 20);
        break;
      case 6: {
        const std::string mode = choice % 2 == 0 ? "03" : "25";
        AskAK("SF" + mode + " K0", &reply);
        Expect(reply ==
                   "\x02"
                   "4SF" +
                       mode + " 0" + kEnd,
               "SF", reply);
        Expect(agent_.Print("qmxOperatingMode.0") == (choice % 2 == 0 ? "1" : "0"), "SF", mode);
        break;
      }
      case 7:
        AskAK("AREG K0 999", &reply);
        Expect(reply == std::string("\x02"
                                    "4AREG 0 SE") +
                            kEnd,
               "AREG", reply);
        break;
      default:
        Data();
    }
  }

 private:
  void AskAK(const std::string& text, std::string* reply) {
    station_.Ask(
        "\x02"
        "4" +
            text + "\x03",
        kEnd, reply);
  }

  std::string Number(const std::string& name) const {
    for (std::size_t i = 0; i < names_.size(); ++i) {
      if (names_[i] == name) return std::to_string(i + 1);
    }
    throw std::runtime_error("no register " + name);
  }

  /// A measured value may move between the two readings that it is held against.
  void Register(std::size_t index) {
    std::string reply;
    const std::string before = agent_.Print(names_[index]);
    AskAK("AREG K0 " + std::to_string(index + 1), &reply);
    const std::string after = agent_.Print(names_[index]);
    const auto holds = [&reply](std::string value) {
      if (!value.empty() && value.front() == '"') value = value.substr(1);
      if (!value.empty() && value.back() == '"') value.pop_back();
      if (value == "4294967295") value = "-1";
      return reply.find(value + kEnd) != std::string::npos;
    };
    Expect(holds(before) || holds(after), "AREG " + names_[index] + " (" + before + ")", reply);
  }

  void Records(unsigned count) {
    std::string reply;
    AskAK("SSTO K0 B", &reply);
    Expect(reply == std::string("\x02"
                                "4SSTO 0") +
                        kEnd,
           "SSTO", reply);
    AskAK("ASTO K0 " + std::to_string(count), &reply);
    Expect(reply ==
               "\x02"
               "4ASTO 0 " +
                   std::to_string(count) + kEnd,
           "ASTO", reply);
    for (const std::string& row : database_.Run(
             "SELECT CONCAT(DATE(time_stamp), ',', TIME(time_stamp), ',', mass) FROM LogEntry "
             "ORDER BY time_stamp LIMIT 1, " +
             std::to_string(count))) {
      const std::string record = station_.TheLine().ReceiveUntil("\r\n");
      Expect(record == row + "\r\n", "ASTO", record);
    }
  }

  /// A GNP data reply, and back to AK: the frame that is waited for is still a GNP one.
  void Data() {
    std::string reply;
    AskAK("EREG K0 " + Number("qmxRS232Mode.0") + " 1", &reply);
    station_.Ask(
        "\x02"
        "DA\x03"
        "04",
        "\r\n", &reply);
    Expect(reply.compare(0, 6,
                         "\x02"
                         "MD03 ") == 0 &&
               reply.size() == 101,
           "DA", reply);
    Station::WaitForGateway();
    Child set({"snmpset", "-v1", "-c", "pelmar", "localhost", "qmxRS232Mode.0", "i", "0"});
    set.Wait();
    station_.Ask(
        "\x02"
        "XY\x03"
        "00",
        kEnd, &reply);
    Expect(reply == std::string("\x02"
                                "Unknown command.") +
                        kEnd,
           "XY", reply);
  }

  Database database_;
  Station station_{{}};
  BareSession agent_;
  std::vector<std::string> names_;
  std::string list_;
};

}  // namespace

int main(int argc, char* argv[]) {
  const long requests = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 20000;
  std::mt19937 random(1);
  try {
    Soak soak;
    const pid_t gateway = soak.Gateway().Id();
    std::printf("%8s %12s %12s %10s\n", "requests", "memory, kB", "descriptors", "CPU, s");
    for (long i = 0; i < requests; ++i) {
      if (i % (requests / 10) == 0) {
        std::printf("%8ld %12ld %12d %10.2f\n", i, ResidentMemory(gateway), Descriptors(gateway),
                    CpuSeconds(gateway));
        std::fflush(stdout);
      }
      soak.One(static_cast<unsigned>(random() % 9), static_cast<unsigned>(random()));
    }
    std::printf("%8ld %12ld %12d %10.2f\nevery reply was right\n", requests,
                ResidentMemory(gateway), Descriptors(gateway), CpuSeconds(gateway));
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return 1;
  }
  return 0;
}
