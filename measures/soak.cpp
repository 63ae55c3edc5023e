// Many requests of all kinds, each reply compared with what the simulated instrument and the
// database hold; memory and descriptors of the gateway watched.
//
//   tests/laboratory build/release/bin build/release/bin/soak [REQUESTS]
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <sstream>
#include <stdexcept>

#include "bare.h"
#include "gnp/status_codes.h"
#include "station.h"

namespace {

constexpr char kEnd[] = "\x03\r\n";

void Expect(bool right, const std::string& request, const std::string& reply) {
  if (!right) {
    throw std::runtime_error("wrong reply to " + Visible(request) + ": " + Visible(reply));
  }
}

class Soak {
 public:
  Soak() {
    database_.Run("CREATE TABLE LogEntry (time_stamp DATETIME, mass INT, INDEX (time_stamp))");
    database_.Run(
        "INSERT INTO LogEntry SELECT '2020-01-01' + INTERVAL seq MINUTE, seq FROM seq_1_to_500");
    list_ = Ask(Request("4LPRC K0"));
    listing_ = station_.TheLine().ReceiveUntil("\r\n");
    std::istringstream names(listing_.substr(0, listing_.size() - 2));
    for (std::string name; std::getline(names, name, ',');) names_.push_back(name);
    threeDigits_ = "0" + Number("qmxAveragingTime.0");
    Ask(Request("4EREG K0 " + Number("qmxPRCNumber.0") + " " + threeDigits_ + threeDigits_ +
                threeDigits_));
  }

  Child& Gateway() { return station_.Gateway(); }

  void One(unsigned kind, unsigned choice) {
    switch (kind) {
      case 0:
        Register(choice % names_.size());
        break;
      case 1: {
        const std::string value = std::to_string(static_cast<int>(choice % 20000) - 9999);
        const std::string number = Number("qmxAveragingTime.0");
        Exchange(Request("4EREG K0 " + number + " " + value), Reply("4EREG 0 " + number));
        Expect(Held("qmxAveragingTime.0") == value, "EREG", value);
        break;
      }
      case 2:
        Exchange(Request("4LPRC K0"), list_);
        Expect(station_.TheLine().ReceiveUntil("\r\n") == listing_, "LPRC", "another listing");
        break;
      case 3:
        Exchange(Request("4LCFG K0"), Reply("4LCFG 0 1"));
        break;
      case 4:
        Exchange(Request("4LDHD K0"), Reply("4LDHD 0 Date,Time,mass"));
        break;
      case 5:
        Records(std::to_string(1 + choice % 20));
        break;
      case 6: {
        const bool measuring = choice % 2 == 0;
        const std::string code = measuring ? "03" : "25";
        Exchange(Request("4SF" + code + " K0"), Reply("4SF" + code + " 0"));
        Expect(Held("qmxOperatingMode.0") == (measuring ? "1" : "0"), "SF", code);
        break;
      }
      case 7:
        Exchange(Request("4AREG K0 999"), Reply("4AREG 0 SE"));
        break;
      default:
        Data();
    }
  }

 private:
  std::string Ask(const std::string& request, const std::string& end = kEnd) {
    std::string reply;
    station_.Ask(request, end, &reply);
    return reply;
  }
  void Exchange(const std::string& request, const std::string& expected) {
    const std::string reply = Ask(request);
    Expect(reply == expected, request, reply);
  }

  std::string Number(const std::string& name) const {
    for (std::size_t i = 0; i < names_.size(); ++i) {
      if (names_[i] == name) return std::to_string(i + 1);
    }
    throw std::runtime_error("no register " + name);
  }

  /// What AREG sends for a value that the library prints so.
  static std::string Sent(const std::string& printed) {
    if (printed == "Gauge32: 4294967295") return "-1";
    for (const char* type : {"INTEGER: ", "Gauge32: ", "Opaque: Float: "}) {
      if (printed.rfind(type, 0) == 0) return printed.substr(std::strlen(type));
    }
    const std::size_t text = printed.rfind("STRING: ", 0) == 0 ? std::strlen("STRING: ") : 0;
    return printed[text] == '"' ? printed.substr(text + 1, printed.size() - text - 2) : printed;
  }
  std::string Held(const std::string& name) { return Sent(agent_.Print(name)); }

  /// A measured value may move between the two readings that it is held against.
  void Register(std::size_t index) {
    const std::string number = std::to_string(index + 1);
    const std::string before = Held(names_[index]);
    const std::string reply = Ask(Request("4AREG K0 " + number));
    const std::string after = Held(names_[index]);
    Expect(reply == Reply("4AREG 0 " + number + " " + before) ||
               reply == Reply("4AREG 0 " + number + " " + after),
           "AREG " + names_[index] + " (" + before + ")", reply);
  }

  void Records(const std::string& count) {
    Exchange(Request("4SSTO K0 B"), Reply("4SSTO 0"));
    Exchange(Request("4ASTO K0 " + count), Reply("4ASTO 0 " + count));
    for (const std::string& row : database_.Run(
             "SELECT CONCAT(DATE(time_stamp), ',', TIME(time_stamp), ',', mass) FROM LogEntry "
             "ORDER BY time_stamp LIMIT 1, " +
             count)) {
      const std::string record = station_.TheLine().ReceiveUntil("\r\n");
      Expect(record == row + "\r\n", "ASTO", record);
    }
  }

  /// A GNP data reply with one integer in three blocks, and back to AK: the frame that is waited
  /// for is still a GNP one.
  void Data() {
    Exchange(Request("4EREG K0 " + Number("qmxRS232Mode.0") + " 1"),
             Reply("4EREG 0 " + Number("qmxRS232Mode.0")));
    int mantissa = std::stoi(Held("qmxAveragingTime.0"));
    int exponent = 0;
    for (; mantissa % 10 == 0 && mantissa != 0; ++exponent) mantissa /= 10;
    const int operating = kOperatingStatusCodes[std::stoi(Held("qmxOperatingMode.0"))];
    std::string expected = "\x02MD03 ";
    for (int block = 0; block < 3; ++block) {
      char text[64];
      std::snprintf(text, sizeof text, "%03d %+05d+%02d %02X 00 001 %s    ", 1 + block, mantissa,
                    exponent, static_cast<unsigned>(operating), threeDigits_.c_str());
      expected += text;
    }
    expected += '\x03';
    unsigned check = 0;
    for (const char byte : expected) check ^= static_cast<unsigned char>(byte);
    char digits[16];
    std::snprintf(digits, sizeof digits, "%02X\r\n", check);
    const std::string reply = Ask(Request("DA") + "04", "\r\n");
    Expect(reply == expected + digits, "DA", reply);
    station_.WaitForGateway();
    Child set({"snmpset", "-v1", "-c", "pelmar", "localhost", "qmxRS232Mode.0", "i", "0"});
    set.Wait();
    Exchange(Request("XY") + "00", Reply("Unknown command."));
  }

  Database database_;
  Station station_{{}};
  BareSession agent_;
  std::vector<std::string> names_;
  std::string list_;
  std::string listing_;
  std::string threeDigits_;  // number of the register that the data reply has
};

}  // namespace

int main(int argc, char* argv[]) {
  const long requests = argc > 1 ? std::max(10L, std::strtol(argv[1], nullptr, 10)) : 20000;
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
