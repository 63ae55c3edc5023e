// The check value of a GNP frame.
#pragma once

#include <cstdint>

/// Exclusive or of the bytes, each taken with its sign as a 16-bit value; 0 when `count` is 0 or
/// less. A frame carries the first two characters of its "%.2X" text.
std::int16_t CheckValue(const char* bytes, int count);

/// Writes those two characters and a terminator.
void WriteCheckValue(const char* bytes, int count, char (&text)[3]);
