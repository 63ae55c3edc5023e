// What is to be said of an instrument that answers.
#pragma once

#include <chrono>

#include "views/findings.h"

struct Session;

struct JudgeOptions {
  bool newest = false;  ///< the age of the newest record, for which the database pointer is moved
  bool values = false;  ///< read every register
  std::chrono::steady_clock::time_point end;  ///< no step is begun after it
};

/// Asks the instrument that the session's logger addresses, in the protocol given, and adds what is
/// found. Throws Failure when the line is gone or the command is interrupted.
void Judge(Session& session, bool gnp, const JudgeOptions& options, Findings& findings);
