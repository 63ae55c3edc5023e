// A frame that was heard, for a reader and for a script.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "logger/frames.h"

/// "AK request", "GNP reply", "bytes" and so on.
std::string KindText(Frame::Kind kind);

/// What it says, such as "AREG 12 to station 4, channel K0", and what is wrong with it.
std::string InWords(const Frame& frame);

/// Names and JSON values: kind, bytes, and those parts that there are.
std::vector<std::pair<std::string, std::string>> JsonMembers(const Frame& frame);
