// The database pointer: the time stamp of the record that the logger has read last.
#pragma once

#include <cstring>

/// Whether the text, between the apostrophes of a statement, is all of what they enclose. One with
/// an apostrophe or a backslash is no time stamp and would change what the statement means.
inline bool StaysQuoted(const char* text) { return std::strpbrk(text, "'\\") == nullptr; }
