// The checks, in the order of cause: what a later one finds may come of an earlier one.
#pragma once

#include <optional>
#include <string>

#include "doctor/agent.h"
#include "doctor/report.h"
#include "doctor/unit.h"

/// What is learned of the instrument on the way.
struct Instrument {
  bool answers = false;
  std::optional<int> type;             ///< instrument type number
  std::optional<std::string> pointer;  ///< the database pointer, where it can be asked for
};

/// MIB modules load, and define every register that the gateway asks for by name.
void CheckModules(const Agent& agent, Report& report);

/// The agent answers, and soon enough.
void CheckAgent(Agent& agent, Instrument& instrument, Report& report);

/// The agent may be written: a setting is set to the value that it has.
void CheckWriting(Agent& agent, const Instrument& instrument, Report& report);

/// The registers that the gateway works with are there, of the right type, and in their range; what
/// that means for the logger.
void CheckRegisters(Agent& agent, Instrument& instrument, Report& report);

/// The subtrees of the instrument's type are defined; the register list is there, says what a walk
/// says, and can be written by the user of the service.
void CheckRegisterList(const Instrument& instrument, const Unit& unit, Report& report);

/// The database, whether the device's gateway has it, its table, the columns asked for, and where
/// the pointer stands among the records.
void CheckDatabase(const Instrument& instrument, const std::string& device, const Unit& unit,
                   Report& report);

/// The device, who has it, and what the kernel has counted on it.
void CheckDevice(const std::string& device, const Unit& unit, Report& report);

/// The state of the service and what it said last.
void CheckUnit(const Unit& unit, Report& report);

/// Time zone, changes of it ahead, and who else sets the clock.
void CheckClock(const Unit& unit, Report& report);
