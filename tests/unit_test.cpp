// What can be proved of the daemon's parts without their surroundings.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>

#include "base/number.h"
#include "base/text.h"
#include "core/gateway.h"

namespace {

std::string Formatted(float number) {
  char text[9];
  CGateway::FormatMantissaExponent(number, text);
  return text;
}

TEST(NumberFormat, GivesTheExamples) {
  const std::pair<float, const char*> kExamples[] = {
      {0, "+0000+00"},         {1, "+0001+00"},          {25, "+0025+00"},
      {7000, "+0007+03"},      {123456, "+1234+02"},     {1234.5F, "+1234+00"},
      {12.34F, "+1234-02"},    {1.5F, "+0015-01"},       {99.99F, "+9998-02"},
      {0.1234F, "+1234-04"},   {0.05F, "+0005-02"},      {0.000123F, "+0123-06"},
      {0.000001F, "+0001-06"}, {0.0000004F, "+0000+00"}, {-0.001F, "-0001-03"},
      {-273.15F, "-2731-01"},  {3.4e38F, "+3399+35"},    {-0.0F, "+0000+00"},
      {-1e-9F, "+0000+00"},    {FLT_MAX, "+3402+35"},    {-FLT_MAX, "-3402+35"},
      {INFINITY, "+0000+00"},  {NAN, "+0000+00"},
  };
  for (const auto& [number, text] : kExamples) EXPECT_EQ(Formatted(number), text);
  CGateway::FormatMantissaExponent(1, nullptr);
}

TEST(Text, NeverLeavesItsField) {
  struct {
    char field[4] = {'?', '?', '?', '?'};
    char guard = '!';
  } room;
  EXPECT_TRUE(CopyText(room.field, "abc"));
  EXPECT_FALSE(CopyText(room.field, "abcd"));
  EXPECT_STREQ(room.field, "abc");
  EXPECT_TRUE(CopyText(room.field, "x"));
  EXPECT_EQ(std::string(room.field, 4), std::string("x\0\0\0", 4));
  EXPECT_FALSE(FormatText(room.field, "%d", -100));
  EXPECT_STREQ(room.field, "-10");
  std::size_t used = 1;
  EXPECT_FALSE(AppendText(room.field, used, "abc"));
  EXPECT_TRUE(AppendText(room.field, used, "bc"));
  EXPECT_STREQ(room.field, "-bc");
  EXPECT_FALSE(AppendText(room.field, used, "d"));
  EXPECT_EQ(room.guard, '!');
}

}  // namespace
