// The simulated instrument's registers, how they move, and how they misbehave, without an agent.
#include "registers.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "script.h"

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
  Settings other;
  other.type = "Monard";
  other.mode = 1;
  other.station = 7;
  other.channel = "Z9";
  other.diagnostics = 2;
  std::istringstream list(Listed(objects, Registers(objects, other)));
  std::string differs;
  for (std::string line; std::getline(list, line);) {
    if (wanted.find(line + "\n") == std::string::npos) differs += line + "|";
  }
  EXPECT_EQ(differs,
            "qmxInstrumentType.0 = STRING: \"Monard\"|qmxRS232Mode.0 = INTEGER: 1|"
            "qmxAKStationCode.0 = INTEGER: 7|qmxAKChannelNumber.0 = STRING: \"Z9\"|"
            "qmxDiagnosticValue.1 = INTEGER: 1|qmxDiagnosticValue.2 = INTEGER: 2|");
}

TEST(Registers, MoveBetweenTwoWalks) {
  Objects first;
  Objects second;
  const auto put = [](Objects& objects, const char* value, const char* count, const char* real) {
    objects.Put(".1.3.1", 'D', real);
    objects.Put(".1.3.2", 'F', real);
    objects.Put(".1.3.3", 'i', value);
    objects.Put(".1.3.4", 'u', count);
    objects.Put(".1.3.5", 's', value);
    objects.Put(".1.3.6", 'i', "5");
  };
  put(first, "10", "10", "1.5");
  first.Put(".1.3.7", 'i', "9");
  put(second, "13", "50", "1.25");
  second.Put(".1.3.7", 'u', "10");
  second.Put(".1.3.8", 'i', "10");
  Registers registers(first, second);
  EXPECT_EQ(Listed(first, registers),
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

/// A file of faults: what it was told, how many objects are left, and what it fails with.
TEST(Script, FollowsAndRefuses) {
  const std::string file = testing::TempDir() + "faults" + std::to_string(getpid());
  const auto followed = [&](const std::string& lines, int seconds) {
    std::ofstream(file) << lines;
    Objects objects;
    objects.Put("qmxFlowRate.0", 'F', "16.5");
    std::string error;
    testing::internal::CaptureStdout();
    try {
      Script script(file);
      for (int i = 0; i < seconds; ++i) script.Tick(objects);
    } catch (const std::runtime_error& thrown) {
      error = thrown.what();
    }
    std::remove(file.c_str());
    const std::string name = file + ": line ";
    if (error.compare(0, name.size(), name) == 0) error.erase(0, name.size());
    return testing::internal::GetCapturedStdout() + std::to_string(objects.All().size()) + error;
  };
  for (const std::string line :
       {"wait", "wait -1", "absent", "fault get", "register qmxFlowRate.0"}) {
    EXPECT_EQ(followed(line, 1), "11: neither register, absent, fault, behave nor wait: " + line);
  }
  for (const char* line : {"register qmxNothing.0 i 5", "fault get qmxNothing.0 silent",
                           "fault get * as qmxNothing.0"}) {
    EXPECT_EQ(followed(line, 1), "11: the MIB modules do not define qmxNothing.0");
  }
  const std::pair<std::string, std::string> kWrong[] = {
      {"register qmxFlowRate.0 i x", "1: no value of type i: x"},
      {"fault get * value i x", "1: no value of type i: x"},
      {"fault put * silent", "1: a fault is one of get, set or next, not of put"},
      {"fault get * sleepy", "1: no such fault: sleepy"},
      {"fault get * late", "1: no such fault: late"},
      {"#\nbehave\nfault get * error 5", "3: no such fault: error 5"},
  };
  for (const auto& [lines, error] : kWrong) EXPECT_EQ(followed(lines, 1), "1" + error) << lines;
  const std::string late =
      "# one\n\n  \nregister .1.3.5 s a b \nwait 0\nwait 2\nabsent qmxFlowRate.0\nbehave\nwait 3\n"
      "absent .1.3.5\n";
  const std::string first = "register .1.3.5 s a b \n";
  EXPECT_EQ(followed(late, 2), first + "2");
  EXPECT_EQ(followed(late, 5), first + "absent qmxFlowRate.0\nbehave\n1");
  EXPECT_EQ(followed(late, 6), first + "absent qmxFlowRate.0\nbehave\nabsent .1.3.5\n0");
}

}  // namespace
