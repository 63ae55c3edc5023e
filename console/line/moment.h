// Moments as text, in local time.
#pragma once

#include <chrono>
#include <string>

/// "2026-11-23T06:20:11.123456+0000"; `decimals` of the second, 0 to 6.
std::string MomentText(std::chrono::system_clock::time_point moment, int decimals);

/// "06:20:11.123"; decimals as above.
std::string TimeOfDay(std::chrono::system_clock::time_point moment, int decimals);
