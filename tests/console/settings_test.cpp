#include "settings.h"

#include <gtest/gtest.h>

#include <sstream>

#include "line/failure.h"

namespace {

TEST(Settings, CountFromTheLatestFileThatHasThem) {
  Settings settings;
  std::istringstream general(
      "# all\nstation=1\r\n[roof]\ndevice = /dev/a\nstation=2\n[b.c]\nid=001\n");
  std::istringstream own("[roof]\nstation='3'\n[cellar]\ndevice=\"/dev/x,y z\"");
  settings.Read(general, "GENERAL");
  settings.Read(own, "OWN");
  const auto found = [&](const std::string& line, const std::string& name) {
    const auto setting = settings.Find(line, name);
    return setting ? setting->value + " " + setting->source : "none";
  };
  EXPECT_EQ(settings.Lines(), (std::vector<std::string>{"b.c", "cellar", "roof"}));
  EXPECT_EQ(found("", "station"), "1 GENERAL");
  EXPECT_EQ(found("roof", "station"), "3 OWN, [roof]");
  EXPECT_EQ(found("roof", "device"), "/dev/a GENERAL, [roof]");
  EXPECT_EQ(found("cellar", "device"), "/dev/x,y z OWN, [cellar]");
  EXPECT_EQ(found("b.c", "id"), "001 GENERAL, [b.c]");
  EXPECT_EQ(found("cellar", "id") + found("attic", "id"), "nonenone");
}

TEST(Settings, RefuseWhatTheyDoNotKnow) {
  const std::string known = "; there are device, station, channel, id, protocol, timeout.";
  const std::string quoted = "; one with blanks or commas stands in quotation marks.";
  const std::pair<const char*, std::string> kTable[] = {
      {"baud=9600\n", "There is no setting baud (FILE)" + known},
      {"[roof]\nstation\x01=4\n", "There is no setting station<x01> (FILE, [roof])" + known},
      {"[roof]\nstation=\n", "The setting station needs one value (FILE, [roof])" + quoted},
      {"device=a b\n", "The setting device needs one value (FILE)" + quoted},
  };
  for (const auto& [text, told] : kTable) {
    std::istringstream file(text);
    try {
      Settings().Read(file, "FILE");
      ADD_FAILURE() << text;
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.what(), told);
    }
  }
}

}  // namespace
