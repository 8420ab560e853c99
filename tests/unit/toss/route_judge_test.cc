#include "toss/route_judge.h"

#include <gtest/gtest.h>

#include <memory>

#include "base/fixed_text.h"

namespace {

Parent JudgeSubject(const char* subject) {
  InboundMessage message;
  CopyCut(message.subject, subject);
  return JudgeParent(message, {});
}

Parent JudgeReply(bool has_parent, int32_t number) {
  InboundMessage message;
  CopyCut(message.reply, "1:2/3 abc");
  CopyCut(message.subject, "Re: x");
  SigScan sig;
  sig.has_parent = has_parent;
  sig.parent = number;
  return JudgeParent(message, sig);
}

DestinationKind JudgeArea(const ConferenceTable& table, const char* area) {
  InboundMessage message;
  CopyCut(message.area, area);
  return ChooseConference(table, message).kind;
}

}  // namespace

TEST(RouteJudge, ASubjectOfAReplyBeginsWithReAndAColonInAnyCase) {
  for (const char* subject : {"Re:", "RE:x", "re: x", "rE: Re: x"}) {
    EXPECT_EQ(JudgeSubject(subject).kind, kReplyBySubjectOnly) << subject;
  }
  for (const char* subject : {"", "R", "Re", "Re^2: x", "Re : x", " Re: x", "Reply: x", "x Re:"}) {
    EXPECT_EQ(JudgeSubject(subject).kind, kNotAReply) << subject;
  }
}

TEST(RouteJudge, AParentIsTheNumberInTheSigFileUnlessItIsNegative) {
  EXPECT_EQ(JudgeReply(true, 7).kind, kParentFound);
  EXPECT_EQ(JudgeReply(true, 7).number, 7);
  EXPECT_EQ(JudgeReply(true, 0).kind, kParentFound);
  EXPECT_EQ(JudgeReply(true, -1).kind, kParentNotFound);
  EXPECT_EQ(JudgeReply(false, 0).kind, kParentNotFound);
}

TEST(RouteJudge, ADestinationIsTheAreaElseTheCatchAllElseNone) {
  const auto table = std::make_unique<ConferenceTable>();
  EXPECT_EQ(JudgeArea(*table, ""), kNoNetmail);
  EXPECT_EQ(JudgeArea(*table, "FIDO"), kNoCatchAll);
  table->count = 2;
  table->entries[0].Number = 1;
  table->entries[1].Number = 2;
  CopyCut(table->entries[0].NetIDName, "FIDO");
  CopyCut(table->entries[1].NetIDName, "*");
  EXPECT_EQ(JudgeArea(*table, "fido"), kNoCatchAll);  // neither is routed
  table->entries[0].Routed = table->entries[1].Routed = true;
  table->NetmailConference = 2;
  EXPECT_EQ(JudgeArea(*table, ""), kToNetmail);
  EXPECT_EQ(JudgeArea(*table, "fido"), kToArea);
  EXPECT_EQ(JudgeArea(*table, "OTHER"), kToCatchAll);
}
