// Spans of time as a user names them.
#pragma once

#include <optional>
#include <string>

#include "records/capture.h"

struct Span {
  Moment begin;
  Moment end;  ///< the first moment behind it
};

/// What "2009-06", "2009-06-30", "2009-06-30 14:00" or "2009-06-30 14:00:00" names: a month, a day,
/// a minute or a second. None for other texts, for days that no month has, and for moments that
/// the system has no number for.
std::optional<Span> SpanOf(const std::string& text);

/// How far "-7d", "-12h" or "-30m" goes back. None for other texts.
std::optional<Moment> BackOf(const std::string& text);

/// A text that is not later than the time stamps of that moment, and later than all before:
/// without the time at midnight, as a column of dates has none.
std::string StampFrom(Moment moment);
