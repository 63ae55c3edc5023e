// The page of a check, for the folder that a station keeps.
#pragma once

#include <string>

#include "views/findings.h"

/// Writes it in one step. `use` is how the instrument is asked; empty when none was found. Throws
/// Failure(kUsage) when it cannot be written.
void WriteCheckPage(const std::string& path, const std::string& device, const std::string& use,
                    const Findings& findings);
