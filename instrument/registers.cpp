#include "registers.h"

#include <algorithm>
#include <stdexcept>
#include <type_traits>

namespace {

using Text = std::string;
constexpr Access kRead = Access::kReadOnly;
constexpr Access kWrite = Access::kReadWrite;

// clang-format off
std::vector<Register> Table(const Settings& settings) {
  return {
      // object                     value                      access  drift: low, high, step   column
      {"qmxInstrumentType.0",       settings.type,             kRead},
      {"qmxInstrumentID.0",         1,                         kWrite},
      {"qmxLocationID.0",           1,                         kWrite},
      {"qmxSerialNumber.0",         Text("QMX-000417"),        kRead},
      {"qmxSystemID.0",             ObjectName{"cobaltRGX"},   kRead},
      {"qmxDisplayRegister.0",      ObjectName{"qmxMassConcentration.0"}, kWrite},
      {kOperatingMode,              1,                         kWrite},
      {"qmxStatusCondition.0",      0,                         kWrite},
      {"qmxRS232Mode.0",            settings.mode,             kWrite},
      {"qmxAKStationCode.0",        settings.station,          kWrite},
      {"qmxAKChannelNumber.0",      settings.channel,          kWrite},
      {"qmxPRCNumber.0",            18021024,                  kWrite},
      {"qmxResponseEnd.0",          13010,                     kWrite},
      {"qmxAKSetTime.0",            Text(),                    kWrite},
      {kCommand,                    Text(),                    kWrite},
      {kCommandAnswer,              Text(),                    kRead},
      {kRegLogState,                0,                         kRead},
      {kRegLogRecords,              0U,                        kRead},
      {kRegLogLast,                 Text(),                    kRead},
      {"qmxDatabasePointer.0",      Text(),                    kWrite},

      {"qmxMassConcentration.0",    18.4F,                     kRead,  {5, 60, 0.4},            "mass"},
      {"qmxMassConcentration1h.0",  18.1F,                     kRead,  {10, 40, 0.02},          "mass_1h"},
      {"qmxTotalMass.0",            412.75,                    kRead,  {400, 430, 0.01},        "total_mass"},
      {"qmxFlowRate.0",             16.67F,                    kRead,  {16.5, 16.84, 0.01},     "flow"},
      {"qmxFlowSetPoint.0",         16.67F,                    kWrite},
      {"qmxCalibrationConstant.0",  0.00012475,                kWrite},
      {"qmxAmbientTemperature.0",   11.2F,                     kRead,  {-5, 27, 0.05},          "temperature"},
      {"qmxAmbientHumidity.0",      64.0F,                     kRead,  {35, 95, 0.2},           "humidity"},
      {"qmxAmbientPressure.0",      1009.3,                    kRead,  {985, 1030, 0.05},       "pressure"},
      {"qmxFilterLoading.0",        37,                        kRead,  {35, 41, 1},             "filter"},
      {"qmxFilterName.0",           Text("F-2291"),            kWrite, {},                      "filter_name"},
      {"qmxAveragingTime.0",        300,                       kWrite},
      {"qmxOperatingHours.0",       9127U,                     kRead},

      {"qmxKORVAFrequency.0",       254.318207,                kRead,  {254.1, 254.6, 0.002}},
      {"qmxKORVATemperature.0",     50.0F,                     kRead,  {49.8, 50.2, 0.02}},
      {"qmxKORVAState.0",           2,                         kRead},

      {"qmxKORVBFrequency.0",       251.904415,                kRead,  {251.7, 252.2, 0.002}},
      {"qmxKORVBTemperature.0",     50.0F,                     kRead,  {49.8, 50.2, 0.02}},
      {"qmxKORVBState.0",           2,                         kRead},

      {"qmxOperatorNote.0",         Text("roof station, inlet cleaned"), kWrite},
      {"qmxHeaterPower.0",          3.5F,                      kRead,  {0, 12, 0.1}},
      {"qmxPowerFailures.0",        4294967295U,               kRead},
  };
}
// clang-format on

}  // namespace

Registers::Registers(const Settings& settings) : registers_(Table(settings)) {
  for (int i = 1; i <= settings.diagnostics; ++i) {
    registers_.push_back({"qmxDiagnosticValue." + std::to_string(i), i});
  }
}

Register& Registers::operator[](const char* object) {
  const auto found = std::find_if(registers_.begin(), registers_.end(),
                                  [object](const Register& r) { return r.object == object; });
  if (found == registers_.end()) throw std::out_of_range(object);
  return *found;
}

void Registers::Drift() {
  for (Register& reg : registers_) {
    const auto& [low, high, step] = reg.drift;
    if (step == 0) continue;
    std::uniform_real_distribution<double> move(-step, step);
    const double now = Number(reg.value);
    const double middle = (low + high) / 2;
    // Slightly more often towards the middle than away from it, and never out of the range.
    const double next =
        std::clamp(now + move(random_) + 0.1 * step * (middle - now) / (high - low), low, high);
    std::visit(
        [next](auto& value) {
          using Type = std::decay_t<decltype(value)>;
          if constexpr (std::is_arithmetic_v<Type>) value = static_cast<Type>(next);
        },
        reg.value);
  }
}

double Number(const Value& value) {
  return std::visit(
      [](const auto& held) {
        if constexpr (std::is_arithmetic_v<std::decay_t<decltype(held)>>) {
          return static_cast<double>(held);
        } else {
          return 0.0;
        }
      },
      value);
}
