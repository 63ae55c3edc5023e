// The records of some files as columns over time, to be looked at.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "records/capture.h"

/// A stretch in which a column stands still: the same text to its last digit.
struct Standing {
  Moment from = 0;
  Moment to = 0;
  std::string text;
};

/// One field of the records behind date and time.
struct Column {
  std::string name;
  bool numeric = false;  ///< no text but numbers, and what stands for none
  long numbers = 0;      ///< values that are drawn
  long empty = 0;        ///< NULL, or an empty text
  long odd = 0;          ///< nan, inf, or beyond 1e100: not drawn
  double lowest = 0;
  double highest = 0;
  double sum = 0;
  Moment lowestAt = 0;
  Moment highestAt = 0;
  Standing longest;  ///< the longest one

  /// What is drawn of a numeric column: all values, or of each stretch of records the lowest and
  /// the highest, so that no peak is lost. NaN where a record has no number.
  std::vector<double> values = {};
  std::vector<Moment> moments = {};  ///< of thinned values; otherwise those of the records
};

/// A text that differs from the one before it in its column.
struct Event {
  Moment moment;
  std::size_t column;
  std::string text;
};

struct Series {
  std::vector<Moment> moments;  ///< of all records
  std::vector<Column> columns;
  std::vector<Event> events;  ///< the first of them, in time order; at most kMostEvents
  long moreEvents = 0;
  long cutLines = 0;     ///< last lines that were cut off, and are left out
  long unsureLines = 0;  ///< records with more commas than names: their fields are left out
  long stretch = 1;      ///< records of which one lowest and one highest value is drawn
};

constexpr std::size_t kMostEvents = 2000;

/// Numbers that a page draws at the most; with more the columns are thinned.
constexpr std::size_t kMostNumbers = 2000000;

/// Reads the files, which must have the same fields and follow one another in time. Throws
/// Failure(kUsage), which tells the file and the line.
Series ReadSeries(const std::vector<std::string>& files);

/// "µg/m³" for "mass_ug_m3"; empty for a name that tells no unit, or tells it for a reader, as
/// "temperature [°C]" does.
std::string UnitOf(const std::string& name);
