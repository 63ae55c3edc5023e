// The simulated instrument's registers, and how they move, without an agent.
#include "registers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace {

[[maybe_unused]] const bool kModulesRead = [] {
  setenv("MIBDIRS", MIBS, 1);
  setenv("MIBS", "QMX-MIB:QMX-REGLOG-MIB", 1);
  setenv("SNMPCONFPATH", "/dev/null", 1);
  set_persistent_directory("/dev/null");
  init_snmp("unit_test");
  netsnmp_ds_set_int(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_OID_OUTPUT_FORMAT,
                     NETSNMP_OID_OUTPUT_SUFFIX);
  return true;
}();

std::string Printed(const Identifier& object, const Value& value) {
  netsnmp_variable_list binding{};
  snmp_set_var_typed_value(&binding, value.type, value.bytes.data(), value.bytes.size());
  char text[512];
  snprint_variable(text, sizeof text, object.data(), object.size(), &binding);
  snmp_reset_var_buffers(&binding);
  return text;
}

/// As snmpwalk prints them; range and step of what moves, and the column of what is logged.
std::string Listed(Objects& objects, const Registers& registers) {
  std::ostringstream list;
  for (const auto& [object, value] : objects.All()) {
    list << Printed(object, value);
    for (const Measured& reg : registers.All()) {
      if (reg.object != object) continue;
      const auto& [low, high, step] = reg.drift;
      if (step > 0) list << "  # " << low << " to " << high << " by " << step;
      if (reg.column != nullptr) list << "  # " << reg.column;
    }
    list << "\n";
  }
  return list.str();
}

TEST(Registers, AreThoseOfTheManPage) {
  Objects objects;
  std::ifstream page(MAN_PAGE);
  std::string wanted;
  bool inside = false;
  for (std::string line; std::getline(page, line);) {
    if (line == ".Ed") inside = false;
    if (inside) wanted += line + "\n";
    inside = inside || line == ".Bd -literal -compact";
  }
  EXPECT_EQ(Listed(objects, Registers(objects, Settings())), wanted);
}

TEST(Registers, MoveBetweenTwoWalks) {
  const std::tuple<char, const char*, char, const char*> kBoth[] = {
      {'D', "1.5", 'D', "1.25"}, {'F', "1.5", 'F', "1.25"}, {'i', "10", 'i', "13"},
      {'u', "10", 'u', "50"},    {'s', "10", 's', "13"},    {'i', "5", 'i', "5"},
      {'i', "9", 'u', "10"}};
  Objects first;
  Objects second;
  for (const auto& [type, value, laterType, later] : kBoth) {
    const std::string name = ".1.3." + std::to_string(first.All().size() + 1);
    first.Put(name, type, value);
    second.Put(name, laterType, later);
  }
  second.Put(".1.3.8", 'i', "10");
  EXPECT_EQ(Listed(first, Registers(first, second)),
            "org.1 = Opaque: Float: 1.500000  # 1.25 to 1.5 by 0.0125\n"
            "org.2 = Opaque: Float: 1.500000  # 1.25 to 1.5 by 0.0125\n"
            "org.3 = INTEGER: 10  # 10 to 13 by 1\norg.4 = Gauge32: 10  # 10 to 50 by 2\n"
            "org.5 = STRING: \"10\"\ndod = INTEGER: 5\norg.7 = INTEGER: 9\n");
}

TEST(Registers, StayInTheirRange) {
  Objects objects;
  objects.Put(".1.3.1", 'D', "400");
  Objects second;
  second.Put(".1.3.1", 'D', "430");
  Registers registers(objects, second);
  double latest = 400;
  double step = 0;
  int middle = 0;
  constexpr int kMoves = 200000;
  for (int i = 0; i < kMoves; ++i) {
    registers.Drift();
    const double now = Number(*registers.Find(Identifier{1, 3, 1}));
    ASSERT_TRUE(now >= 400 && now <= 430) << now;
    step = std::max(step, std::abs(now - latest));
    latest = now;
    middle += now > 407.5 && now < 422.5 ? 1 : 0;
  }
  EXPECT_GT(step, 1.4);
  EXPECT_LE(step, 1.575);
  // Two thirds; half of them if the middle were like the rest.
  EXPECT_NEAR(middle, 0.67 * kMoves, 0.07 * kMoves);
}

TEST(Values, AreNumbersOfTheirType) {
  const std::tuple<char, const char*, double, double, const char*> kTable[] = {
      {'i', "-2147483648", -2147483648.0, -1.5, "INTEGER: -2"},
      {'u', "4294967295", 4294967295.0, 2.5, "Gauge32: 3"},
      {'c', "4294967295", 4294967295.0, 4294967295.0, "Counter32: 4294967295"},
      {'t', "7", 7, 6, "Timeticks: (6) 0:00:00.06"},
      {'F', "1.5", 1.5, 0.1, "Opaque: Float: 0.100000"},
      {'D', "1.5", 1.5, 1234567890.125, "Opaque: Float: 1234567890.125000"},
      {'s', "5", 0, 0, ""},
  };
  for (const auto& [type, text, number, set, shown] : kTable) {
    Value value = Encode(type, text);
    EXPECT_EQ(Number(value), number) << type;
    if (type == 's') continue;
    SetNumber(value, set);
    EXPECT_EQ(Printed({1, 3}, value), std::string("org = ") + shown);
  }
}

}  // namespace
