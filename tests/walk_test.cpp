// What snmpwalk prints, read back.
#include "walk.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

std::string Parsed(const std::string& text) {
  std::istringstream walk(text);
  std::string objects;
  try {
    for (const Walked& object : ParseWalk(walk)) {
      objects += object.name + " " + object.type + " " + object.value + "|";
    }
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return objects;
}

TEST(Walk, ReadsWhatIsPrinted) {
  const std::pair<const char*, const char*> kWalks[] = {
      {".1.3 = INTEGER: -2147483648\n.1.5 = INTEGER: 2147483647\n.1.4 = Gauge32: 4294967295\n",
       ".1.3 i -2147483648|.1.5 i 2147483647|.1.4 u 4294967295|"},
      {"A-MIB::a.0 = INTEGER: up(1)\r\nb.0 = INTEGER: 5 seconds\r\nEnd of MIB\r\n",
       "A-MIB::a.0 i 1|b.0 i 5|"},
      {"a = STRING: K0\r\nb = STRING: \r\n", "a s K0|b s |"},
      {"a = STRING: K0\nb = STRING: K1\r\n", "a s K0|b s K1\r|"},
      {"SNMPv2-SMI::enterprises.5.0 = OID: SNMPv2-SMI::enterprises.6",
       ".1.3.6.1.4.1.5.0 o .1.3.6.1.4.1.6|"},
      {"a = Counter32: 5\nb = Counter64: 18446744073709551615\nc = Timeticks: (5) 0:00:00.05",
       "a c 5|b C 18446744073709551615|c t 5|"},
      {"a = IpAddress: 1.2.3.4\nb = NULL\nc = \"\"\nd = STRING:\ne = Hex-STRING: ",
       "a a 1.2.3.4|b n |c s |d s |e x |"},
      {"a = Opaque: Float: 16.670000\nb = Opaque: Float: 412.754273\nc = Opaque: Double: 1.5\n"
       "d = Opaque: Float: nan\ne = Opaque: Int64: -5\nf = Opaque: UInt64: 5",
       "a F 16.670000|b D 412.754273|c D 1.5|d F nan|e I -5|f U 5|"},
      {"a = Gauge32: 0\nb = Unsigned32: 7\nc = UInteger32: 8\nd = Opaque: UInt64: "
       "18446744073709551615\n"
       "e = Opaque: Int64: -9223372036854775808\nf = Opaque: Float: -1.5 units",
       "a u 0|b u 7|c u 8|d U 18446744073709551615|e I -9223372036854775808|f D -1.5|"},
      // Over several lines, even where one looks like the next object.
      {"a = STRING: \"say \\\"x\\\" \\\\\nc = INTEGER: 5\n\nend\"\nb = INTEGER: 1",
       "a s say \"x\" \\\nc = INTEGER: 5\n\nend|b i 1|"},
      {"a = STRING: K0\nand more\nb = Hex-STRING: 41 00 \nFF \n", "a s K0\nand more|b x 4100FF|"},
      {"b = Hex-STRING: 41 00   [A.]\nFF   [.]\n", "b x 4100FF|"},
      {"a = Wrong Type (should be OCTET STRING): INTEGER: 5\n", "a i 5|"},
      {"# of the roof station\n\na = No Such Object available on this agent at this OID\n"
       "a = No more variables left in this MIB View (It is past the end of the MIB tree)\n",
       ""},
      // What cannot be read: the line, and why.
      {"a = INTEGER: 1\nTimeout: No Response from localhost",
       "line 2: no NAME = TYPE: VALUE: Timeout: No Response from localhost"},
      {"\na = 5", "line 2: no type that is known here (walk with -On, without -Oq): 5"},
      {"b = INTEGER: 1\na = STRING: \"x\nc = INTEGER: 1\n", "line 2: the text does not end"},
      {"a = STRING: \"x\" y", "line 1: more behind a text:  y"},
  };
  for (const auto& [text, objects] : kWalks) EXPECT_EQ(Parsed(text), objects) << text;
  const std::pair<std::string, std::vector<std::string>> kWrong[] = {
      {"no whole number",
       {"INTEGER: 12.5", "INTEGER: up", "INTEGER: a b(5)", "INTEGER: up(5", "INTEGER: -",
        "INTEGER: 5-"}},
      {"out of the type's range",
       {"INTEGER: 2147483648", "INTEGER: -2147483649", "Gauge32: -1", "Gauge32: 4294967296",
        "Counter64: -1", "Opaque: UInt64: -1", "Counter64: 111111111111111111111",
        "Opaque: Int64: 111111111111111111111"}},
      {"no number", {"Opaque: Float: 1.5x", "Opaque: Float: x"}},
      {"half a byte", {"Hex-STRING: 41 4"}},
      {"no hexadecimal digits", {"Hex-STRING: 41 4G"}}};
  for (const auto& [why, values] : kWrong)
    for (const auto& value : values)
      EXPECT_EQ(Parsed("a = " + value), "line 1: " + why + value.substr(value.rfind(": ")));
}

}  // namespace
