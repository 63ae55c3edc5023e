// What all commands work with.
#pragma once

#include "logger/logger.h"
#include "logger/register_numbers.h"
#include "views/report.h"

struct Session {
  Line& line;
  Logger& logger;
  RegisterNumbers& numbers;
  Report& report;
  bool gnp;            ///< --protocol gnp
  std::string device;  ///< as it was given
};
