// The registers of the simulated instrument.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <variant>
#include <vector>

// Registers that the instrument itself acts on.
constexpr char kOperatingMode[] = "qmxOperatingMode.0";
constexpr char kCommand[] = "qmxCommand.0";
constexpr char kCommandAnswer[] = "qmxCommandAnswer.0";
constexpr char kRegLogState[] = "qmxRegLogState.0";
constexpr char kRegLogRecords[] = "qmxRegLogRecords.0";
constexpr char kRegLogLast[] = "qmxRegLogLast.0";

/// An OBJECT IDENTIFIER, by the name that the MIB modules give it.
struct ObjectName {
  std::string name;
};

/// INTEGER, Gauge32, OCTET STRING, OBJECT IDENTIFIER, Opaque float or Opaque double.
using Value = std::variant<std::int32_t, std::uint32_t, std::string, ObjectName, float, double>;

enum class Access { kReadOnly, kReadWrite };

/// How a measured value moves: at most `step` to either side each second, within its range.
/// Registers that measure nothing have a step of 0.
struct Drift {
  double low = 0;
  double high = 0;
  double step = 0;
};

struct Register {
  std::string object;  ///< name in the MIB modules, with its instance suffix
  Value value;
  Access access = Access::kReadOnly;
  Drift drift = {};
  const char* column = nullptr;  ///< column of the data table that logs the register
};

/// What the command line makes of the instrument.
struct Settings {
  std::string type = "Twinex";  ///< model text in qmxInstrumentType.0
  int mode = 0;                 ///< protocol of the serial line: 0 AK, 1 GNP
  int station = 4;              ///< qmxAKStationCode.0
  std::string channel = "K0";   ///< qmxAKChannelNumber.0
  int diagnostics = 0;          ///< number of diagnostic registers
};

class Registers {
 public:
  explicit Registers(const Settings& settings);

  /// Moves every measured value on by one second.
  void Drift();

  /// The register of this name, which must exist.
  Register& operator[](const char* object);

  std::vector<Register>& All() { return registers_; }

 private:
  std::vector<Register> registers_;
  std::mt19937 random_{std::random_device{}()};
};

/// The value as a number; 0 for texts and identifiers.
double Number(const Value& value);
