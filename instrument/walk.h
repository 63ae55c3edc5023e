// What snmpwalk(1) prints, read back.
#pragma once

#include <istream>
#include <string>
#include <vector>

/// One object of a walk, in the words of snmpset(1).
struct Walked {
  std::string name;   ///< as it was printed
  char type;          ///< i, u, c, C, t, a, s, x, o, F, D, I, U or n
  std::string value;  ///< a text in its own bytes, type x in hexadecimal digits
  int line;           ///< where it stands
};

/// Objects by number or by name, with types (no -Oq). Empty lines and those that begin with # are
/// passed over, as is what snmpwalk says at the end. The library prints real numbers of both sizes
/// as Float: one that no float has is taken for a double. Throws std::runtime_error, "line N: why".
std::vector<Walked> ParseWalk(std::istream& text);
