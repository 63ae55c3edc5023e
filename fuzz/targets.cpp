// What is fuzzed, by name: FUZZ_TARGET names one, and the folder of its seeds.
#include <cstdlib>
#include <cstring>
#include <map>
#include <new>

#include "base/text.h"
#include "core/gateway.h"
#include "registers/register_map.h"
#include "surroundings.h"

namespace {

using Input = std::pair<const std::uint8_t*, std::size_t>;

/// Builds the gateway anew for every input.
void Serve(const std::string& line, const Input& rest, void (CGateway::*handle)()) {
  alignas(CGateway) static char room[sizeof(CGateway)];
  CGateway* gateway = nullptr;
  WithSurroundings(line, rest.first, rest.second, [&] {
    gateway = new (room) CGateway;
    (gateway->*handle)();
  });
  if (gateway != nullptr) gateway->~CGateway();
}

/// The first byte tells how many of the others come over the line.
std::string TakeLine(Input& input) {
  if (input.second == 0) return "";
  const std::size_t length = std::min(std::size_t{2} * input.first[0], input.second - 1);
  std::string line(reinterpret_cast<const char*>(input.first + 1), length);
  input = {input.first + 1 + length, input.second - 1 - length};
  return line;
}

std::string Framed(const std::string& text) { return '\x02' + text + '\x03'; }

/// One AK function: its code and channel are given, what follows is not.
void AK(const std::string& request, Input input) {
  const std::string line = Framed("4" + request + TakeLine(input));
  Serve(line, input, &CGateway::HandleAKRequest);
}

void Frames(Input input, void (CGateway::*handle)()) {
  const std::string line = TakeLine(input);
  Serve(line, input, handle);
}

void Line(Input input) {
  std::string text(reinterpret_cast<const char*>(input.first), input.second);
  RegisterMap registers;
  const char* name = TakeRegisterLine(text.data(), registers);
  if ((name == nullptr) != registers.empty()) std::abort();
  if (name != nullptr && FindRegister(registers, registers.begin()->first.c_str()) == nullptr) {
    std::abort();
  }
}

void NumberFormat(Input input) {
  float number = 0;
  std::memcpy(&number, input.first, std::min(sizeof number, input.second));
  char text[10] = "?????????";
  CGateway::FormatMantissaExponent(number, text);
  // +dddd+ee, and the byte behind the terminator as it was.
  const bool shaped = std::strlen(text) == 8 && std::strspn(text, "+-") == 1 &&
                      std::strspn(text + 1, "0123456789") == 4 &&
                      std::strspn(text + 5, "+-") == 1 &&
                      std::strspn(text + 6, "0123456789") == 2 && text[9] == '\0';
  if (!shaped) std::abort();
}

const std::map<std::string, std::function<void(Input)>> kTargets = {
    {"ak_frames", [](Input i) { Frames(i, &CGateway::HandleAKRequest); }},
    {"gnp_frames", [](Input i) { Frames(i, &CGateway::HandleGNPRequest); }},
    {"da", [](Input i) { Serve(Framed("DA") + "04", i, &CGateway::HandleGNPRequest); }},
    {"areg", [](Input i) { AK("AREG K0 ", i); }},
    {"ereg", [](Input i) { AK("EREG K0 ", i); }},
    {"lprc", [](Input i) { AK("LPRC K0", i); }},
    {"lcfg", [](Input i) { AK("LCFG K0", i); }},
    {"ldhd", [](Input i) { AK("LDHD K0", i); }},
    {"asto", [](Input i) { AK("ASTO K0 ", i); }},
    {"ssto", [](Input i) { AK("SSTO K0 ", i); }},
    {"sf", [](Input i) { AK("SF", i); }},
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
  target({bytes, size});
  return 0;
}
