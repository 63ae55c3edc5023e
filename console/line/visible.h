// Bytes of the line as text.
#pragma once

#include <string>

/// Bytes with the control bytes named, such as "<STX>4AREG K0 12<ETX>".
std::string Visible(const std::string& bytes);
