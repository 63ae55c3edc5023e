// What is fuzzed, by name: FUZZ_TARGET names one, and the folder of its seeds.
#include <fnmatch.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <new>

#include "base/text.h"
#include "bytes.h"
#include "core/gateway.h"
#include "registers/register_map.h"
#include "surroundings.h"

namespace {

/// Builds the gateway anew for every input. The first byte tells how many of the others come over
/// the line, between what is given.
void Serve(const std::string& before, std::string input, const std::string& behind,
           void (CGateway::*handle)()) {
  const std::size_t count = std::size_t{2} * static_cast<unsigned char>(input[0]);
  input.erase(0, 1);
  const std::string line = Bytes(before) + input.substr(0, count) + Bytes(behind);
  input.erase(0, count);
  alignas(CGateway) static char room[sizeof(CGateway)];
  CGateway* gateway = nullptr;
  WithSurroundings(line, input, [&] {
    gateway = new (room) CGateway;
    (gateway->*handle)();
  });
  if (gateway != nullptr) gateway->~CGateway();
}

/// One AK function: its code and channel are given, what follows is not.
void AK(const std::string& request, const std::string& input) {
  Serve("<STX>4" + request, input, "<ETX>", &CGateway::HandleAKRequest);
}

void Line(const std::string& input) {
  std::string line = input;
  RegisterMap registers;
  const bool taken = TakeRegisterLine(line.data(), registers) != nullptr;
  const bool found =
      !registers.empty() && FindRegister(registers, registers.begin()->first.c_str()) != nullptr;
  if (taken != found) std::abort();
}

void NumberFormat(const std::string& input) {
  float number = 0;
  std::memcpy(&number, input.data(), std::min(sizeof number, input.size()));
  char text[10] = "?????????";
  CGateway::FormatMantissaExponent(number, text);
  // The byte behind the terminator is as it was.
  if (fnmatch("[+-][0-9][0-9][0-9][0-9][+-][0-9][0-9]", text, 0) != 0 || text[9] != '\0') {
    std::abort();
  }
}

const std::map<std::string, std::function<void(const std::string&)>> kTargets = {
    {"ak_frames", [](const std::string& i) { Serve("", i, "", &CGateway::HandleAKRequest); }},
    {"gnp_frames", [](const std::string& i) { Serve("", i, "", &CGateway::HandleGNPRequest); }},
    {"da",
     [](const std::string& i) { Serve("<STX>DA<ETX>04", i, "", &CGateway::HandleGNPRequest); }},
    {"areg", [](const std::string& i) { AK("AREG K0 ", i); }},
    {"ereg", [](const std::string& i) { AK("EREG K0 ", i); }},
    {"lprc", [](const std::string& i) { AK("LPRC K0", i); }},
    {"lcfg", [](const std::string& i) { AK("LCFG K0", i); }},
    {"ldhd", [](const std::string& i) { AK("LDHD K0", i); }},
    {"asto", [](const std::string& i) { AK("ASTO K0 ", i); }},
    {"ssto", [](const std::string& i) { AK("SSTO K0 ", i); }},
    {"sf", [](const std::string& i) { AK("SF", i); }},
    {"register_line", Line},
    {"number_format", NumberFormat},
};

}  // namespace

/// Runs one input on the target named by FUZZ_TARGET.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static const auto& target = [] {
    setenv("MIBDIRS", MIBS, 1);
    setenv("MIBS", "QMX-MIB:QMX-REGLOG-MIB", 1);
    CopyText(g_devicePath, kFuzzLine);
    const char* name = std::getenv("FUZZ_TARGET");
    return kTargets.at(name == nullptr ? "" : name);
  }();
  target(std::string(reinterpret_cast<const char*>(bytes), size));
  return 0;
}
