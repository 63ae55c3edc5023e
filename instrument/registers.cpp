#include "registers.h"

#include <algorithm>
#include <map>
#include <stdexcept>

namespace {

struct Entry {
  const char* object;
  char type;
  std::string value;
  Drift drift = {};
  const char* column = nullptr;
};

// clang-format off
std::vector<Entry> Table(const Settings& settings) {
  return {
      // object                   type value                          drift: low, high, step  column
      {"qmxInstrumentType.0",       's', settings.type},
      {"qmxInstrumentID.0",         'i', "1"},
      {"qmxLocationID.0",           'i', "1"},
      {"qmxSerialNumber.0",         's', "QMX-000417"},
      {"qmxSystemID.0",             'o', "cobaltRGX"},
      {"qmxDisplayRegister.0",      'o', "qmxMassConcentration.0"},
      {kOperatingMode,              'i', "1"},
      {"qmxStatusCondition.0",      'i', "0"},
      {"qmxRS232Mode.0",            'i', std::to_string(settings.mode)},
      {"qmxAKStationCode.0",        'i', std::to_string(settings.station)},
      {"qmxAKChannelNumber.0",      's', settings.channel},
      {"qmxPRCNumber.0",            'i', "18021024"},
      {"qmxResponseEnd.0",          'i', "13010"},
      {"qmxAKSetTime.0",            's', ""},
      {kCommand,                    's', ""},
      {kCommandAnswer,              's', ""},
      {kRegLogState,                'i', "0"},
      {kRegLogRecords,              'u', "0"},
      {kRegLogLast,                 's', ""},
      {"qmxDatabasePointer.0",      's', ""},

      {"qmxMassConcentration.0",    'F', "18.4",       {5, 60, 0.4},            "mass"},
      {"qmxMassConcentration1h.0",  'F', "18.1",       {10, 40, 0.02},          "mass_1h"},
      {"qmxTotalMass.0",            'D', "412.75",     {400, 430, 0.01},        "total_mass"},
      {"qmxFlowRate.0",             'F', "16.67",      {16.5, 16.84, 0.01},     "flow"},
      {"qmxFlowSetPoint.0",         'F', "16.67"},
      {"qmxCalibrationConstant.0",  'D', "0.00012475"},
      {"qmxAmbientTemperature.0",   'F', "11.2",       {-5, 27, 0.05},          "temperature"},
      {"qmxAmbientHumidity.0",      'F', "64",         {35, 95, 0.2},           "humidity"},
      {"qmxAmbientPressure.0",      'D', "1009.3",     {985, 1030, 0.05},       "pressure"},
      {"qmxFilterLoading.0",        'i', "37",         {35, 41, 1},             "filter"},
      {"qmxFilterName.0",           's', "F-2291",     {},                      "filter_name"},
      {"qmxAveragingTime.0",        'i', "300"},
      {"qmxOperatingHours.0",       'u', "9127"},

      {"qmxKORVAFrequency.0",       'D', "254.318207", {254.1, 254.6, 0.002}},
      {"qmxKORVATemperature.0",     'F', "50",         {49.8, 50.2, 0.02}},
      {"qmxKORVAState.0",           'i', "2"},

      {"qmxKORVBFrequency.0",       'D', "251.904415", {251.7, 252.2, 0.002}},
      {"qmxKORVBTemperature.0",     'F', "50",         {49.8, 50.2, 0.02}},
      {"qmxKORVBState.0",           'i', "2"},

      {"qmxOperatorNote.0",         's', "roof station, inlet cleaned"},
      {"qmxHeaterPower.0",          'F', "3.5",        {0, 12, 0.1}},
      {"qmxPowerFailures.0",        'u', "4294967295"},
  };
}
// clang-format on

}  // namespace

Registers::Registers(Objects& objects, const Settings& settings) : objects_(objects) {
  for (const Entry& entry : Table(settings)) {
    objects.Put(entry.object, entry.type, entry.value);
    if (entry.drift.step > 0 || entry.column != nullptr) {
      measured_.push_back({Resolve(entry.object), entry.drift, entry.column});
    }
  }
  for (int i = 1; i <= settings.diagnostics; ++i) {
    objects.Put("qmxDiagnosticValue." + std::to_string(i), 'i', std::to_string(i));
  }
}

Registers::Registers(Objects& objects, Objects& second) : objects_(objects) {
  for (const auto& [object, value] : objects.All()) {
    const auto other = second.All().find(object);
    if (other == second.All().end() || other->second.type != value.type) continue;
    const auto [low, high] = std::minmax({Number(value), Number(other->second)});
    const bool real = value.type == ASN_OPAQUE_FLOAT || value.type == ASN_OPAQUE_DOUBLE;
    const double step = std::max((high - low) / 20, real ? 0.0 : 1.0);
    if (low < high) measured_.push_back({object, {low, high, step}});
  }
}

Value* Registers::Find(const Identifier& object) {
  const auto found = objects_.All().find(object);
  return found == objects_.All().end() ? nullptr : &found->second;
}

void Registers::Set(const char* name, const Value& value) {
  if (Value* held = Find(name)) *held = value;
}

void Registers::Drift() {
  for (const Measured& reg : measured_) {
    Value* value = Find(reg.object);
    const auto& [low, high, step] = reg.drift;
    if (step == 0 || value == nullptr) continue;
    std::uniform_real_distribution<double> move(-step, step);
    const double now = Number(*value);
    const double middle = (low + high) / 2;
    // Slightly more often towards the middle than away from it, and never out of the range.
    SetNumber(*value, std::clamp(now + move(random_) + 0.1 * step * (middle - now) / (high - low),
                                 low, high));
  }
}
