// The registers of the simulated instrument.
#pragma once

#include <random>
#include <string>
#include <vector>

#include "objects.h"

// Registers that the instrument itself acts on.
constexpr char kOperatingMode[] = "qmxOperatingMode.0";
constexpr char kCommand[] = "qmxCommand.0";
constexpr char kCommandAnswer[] = "qmxCommandAnswer.0";
constexpr char kRegLogState[] = "qmxRegLogState.0";
constexpr char kRegLogRecords[] = "qmxRegLogRecords.0";
constexpr char kRegLogLast[] = "qmxRegLogLast.0";

/// How a measured value moves: at most `step` to either side each second, within its range.
struct Drift {
  double low = 0;
  double high = 0;
  double step = 0;
};

/// A register that is measured, logged, or both.
struct Measured {
  Identifier object;
  Drift drift;
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

/// Works on the objects of the agent. The MIB modules must have been read.
class Registers {
 public:
  /// The instrument that the settings tell.
  Registers(Objects& objects, const Settings& settings);

  /// The one that the objects already are. Numbers that the second ones have otherwise move
  /// between both values; all else stands still.
  Registers(Objects& objects, Objects& second);

  /// Moves every measured value on by one second.
  void Drift();

  /// The value of a register; null where it was taken away.
  Value* Find(const Identifier& object);
  Value* Find(const char* name) { return Find(Resolve(name)); }

  /// Gives the register of this name another value, unless it was taken away.
  void Set(const char* name, const Value& value);

  const std::vector<Measured>& All() const { return measured_; }

 private:
  Objects& objects_;
  std::vector<Measured> measured_;
  std::mt19937 random_{std::random_device{}()};
};
