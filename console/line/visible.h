// Bytes of the line as text.
#pragma once

#include <string>

/// Bytes with the control bytes named, such as "<STX>4AREG K0 12<ETX>".
std::string Visible(const std::string& bytes);

/// The same of what it begins with; the rest, if any, is three dots.
std::string VisibleStart(const std::string& bytes, std::size_t shown = 80);
