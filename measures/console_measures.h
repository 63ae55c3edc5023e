// Measures of the console.
#pragma once

#include "station.h"

/// The page of a file of records, beside adding its numbers up; and what a browser needs to show
/// it, beside showing nothing.
void MeasurePage();

/// A download over 9600 baud, with all that it asks and proves, beside the time that its records
/// take alone.
void MeasureDownload(Database& database);
