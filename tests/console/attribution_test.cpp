// Whose reply is whose, without a line.
#include "logger/attribution.h"

#include <gtest/gtest.h>

namespace {

using Answers = Attribution::Answers;
using Doubt = Attribution::Doubt;

AKReply Reply(const std::string& code, const std::string& fields) {
  return {code, 0, fields, code == kUnknown || fields == "SE"};
}

TEST(Attribution, KnowsEarlierRepliesFromTheLatest) {
  Attribution attribution(62 * 52 - 1);  // the last of the marks, before the first
  EXPECT_EQ(attribution.InDoubt(), Doubt::kOthers);

  // A register's reply names it, a refusal does not; neither tells that nothing else may come.
  attribution.Sent("AREG", "7");
  EXPECT_EQ(attribution.Take(Reply("AREG", "70 1")), Answers::kNone);
  EXPECT_EQ(attribution.Take(Reply("LCFG", "2")), Answers::kNone);
  EXPECT_EQ(attribution.InDoubt(), Doubt::kOwn);
  EXPECT_EQ(attribution.Take(Reply("AREG", "7 1")), Answers::kLatest);
  EXPECT_EQ(attribution.InDoubt(), Doubt::kOthers);

  // Given up, and two marks given up besides: each reply is known, and the last mark ends all
  // doubt.
  attribution.Sent("EREG", "7");
  EXPECT_EQ(attribution.Mark(), "SFZ9");
  EXPECT_EQ(attribution.Mark(), "SFaa");
  EXPECT_EQ(attribution.Mark(), "SFab");
  EXPECT_EQ(attribution.Take(Reply("EREG", "SE")), Answers::kEarlier);
  EXPECT_EQ(attribution.Take(Reply("SFaa", "SE")), Answers::kEarlier);
  EXPECT_EQ(attribution.Take(Reply("SFZ9", "SE")), Answers::kNone);
  EXPECT_EQ(attribution.InDoubt(), Doubt::kOwn);
  EXPECT_EQ(attribution.Take(Reply("SFab", "SE")), Answers::kLatest);
  EXPECT_EQ(attribution.InDoubt(), Doubt::kNone);

  // What came before an answered request is never answered any more.
  attribution.Sent("AREG", "7");
  attribution.Mark();
  EXPECT_EQ(attribution.Take(Reply("SFac", "SE")), Answers::kLatest);
  EXPECT_EQ(attribution.Take(Reply("AREG", "7 1")), Answers::kNone);

  // Another channel refuses all alike, in their order.
  attribution.SentUnknown();
  attribution.Sent("LCFG");
  attribution.Mark();
  EXPECT_EQ(attribution.Take(Reply(kUnknown, "SE")), Answers::kEarlier);
  EXPECT_EQ(attribution.Take(Reply(kUnknown, "SE")), Answers::kLatest);
  EXPECT_EQ(attribution.InDoubt(), Doubt::kOthers);
}

}  // namespace
