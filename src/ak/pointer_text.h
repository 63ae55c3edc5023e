// The database pointer: the time stamp of the record that the logger has read last, a text of at
// most 24 characters that the agent holds.
#pragma once

#include <cstring>

constexpr char kDatabasePointer[] = "qmxDatabasePointer.0";

/// Whether the text, between the apostrophes of a statement, is all of what they enclose. One with
/// an apostrophe or a backslash is no time stamp and would change what the statement means.
inline bool StaysQuoted(const char* text) { return std::strpbrk(text, "'\\") == nullptr; }
