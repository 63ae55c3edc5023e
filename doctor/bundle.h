// What a fault report should come with, in one file.
#pragma once

#include <string>

#include "doctor/agent.h"
#include "doctor/checks.h"

/// Writes a .tar.gz and returns what is in it, a line each; an empty text when it could not be
/// written.
std::string WriteBundle(const std::string& path, const Report& report, Agent& agent,
                        const Instrument& instrument, const Unit& unit);
