// How figures of records are written for a reader.
#pragma once

#include <cstdint>
#include <string>

#include "records/capture.h"

/// "20,412".
std::string Grouped(std::int64_t number);

/// "20,412 records", "1 record".
std::string RecordsText(std::int64_t number);

/// "98.4 %" of one record or more, cut: what lacks a record is never shown as 100 %.
std::string PercentText(const Share& share);

/// Milliseconds as "0.5 s", "90 s", "5 min", "3 h 5 min", "24 h", "2 d 4 h".
std::string DurationText(Moment duration);
