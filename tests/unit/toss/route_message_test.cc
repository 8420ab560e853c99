// Messages whose conference has a file that cannot be used; tests/e2e has destinations, duplicates and parents.
#include "toss/route_message.h"

#include <cstring>

#include "base/fixed_text.h"
#include "unit/toss/toss_fixture.h"

namespace {

class Route : public TossFixture {
 protected:
  Route() {
    CopyCut(message_.dateTime, "05 Jan 25  00:07:59");
    CopyCut(message_.fromUserName, "Ann Author");
    CopyCut(message_.toUserName, "Bob");
    CopyCut(message_.subject, "Hello");
    CopyCut(message_.origin, "229/426");
    CopyCut(message_.area, "GENERAL");
    EXPECT_EQ(AppendBytes(&message_.body, "text\x01", 5), 0);
  }

  RouteResult Toss(int n = 4) { return RouteMessage(Where(), n, message_); }

  void SetArea(const std::string& area) { CopyCut(message_.area, area.c_str()); }
  void SetMsgid(const std::string& msgid) { CopyCut(message_.msgid, msgid.c_str()); }
  void SetReply(const std::string& reply) { CopyCut(message_.reply, reply.c_str()); }

  void LaySig(int conference, const std::string& content) const {
    WriteFile(site_.Base(conference).Path("SIG"), content);
  }

  std::string BadAreas() const {
    const std::string path = site_.Msg("BADAREAS.LST");
    return PathExists(path) ? ReadFile(path) : "";
  }

  // A stored message of conference 1, with that number.
  void LayMessage(int32_t number) const {
    BaseMessage message;
    message.number = number;
    site_.Base(1).Add(message);
  }

  BaseMessage Last(int conference) const {
    const std::vector<BaseMessage> messages = site_.Base(conference).Read();
    EXPECT_FALSE(messages.empty());
    return messages.empty() ? BaseMessage{} : messages.back();
  }

  InboundMessage message_;
};

constexpr char kWrote1[] = "  -> wrote conf 1 msg #1  From='Ann Author' To='Bob' Subj='Hello' (1 records)";
constexpr char kNotStored[] = "  msg 4: message-base append failed; source packet will be retained";

std::string Gone(int number) {
  return "  parent MSGID resolved to MsgNumber " + std::to_string(number) +
         " via .SIG tracking, but that message no longer exists (or is marked Deleted) in the current message base -- "
         "storing as non-threaded (safe fallback)";
}

}  // namespace

TEST_F(Route, AListThatCannotBeWrittenStopsNothing) {
  UseConferences({{"a", "*"}});
  SetArea("NOWHERE");
  door_.FailNth(Call::kOpen, 1, "BADAREAS.LST");
  EXPECT_EQ(Toss(), kRouteStored);
  EXPECT_EQ(log_.CountOf(kWrote1), 1);
  EXPECT_EQ(BadAreas(), "");
}

TEST_F(Route, ASigFileThatCannotBeReadHoldsNone) {
  LaySig(1, "1:2/3 0a1b\t1\n");
  SetMsgid("1:2/3 0a1b");
  door_.FailNth(Call::kOpen, 1, ".SIG");
  EXPECT_EQ(Toss(), kRouteStored);
  EXPECT_EQ(TakeLines(), Strings{kWrote1});
}

TEST_F(Route, AnUnsoundMessageBaseIsNotTouched) {
  WriteFile(site_.Base(1).Path("DAT"), std::string(128, '\0'));
  SetMsgid("1:2/3 0a1b");
  const auto before = site_.Files();
  EXPECT_EQ(Toss(), kRouteFailed);
  EXPECT_EQ(TakeLines(),
            (Strings{"ERROR: conference 1 has IDX/DAT data but no PTR records",
                     "ERROR: conference 1 failed message-base preflight; refusing to append", kNotStored}));
  EXPECT_EQ(site_.Files(), before);
}

TEST_F(Route, TheRemarkOnTheParentComesBeforeThePreflight) {
  WriteFile(site_.Base(1).Path("DAT"), std::string(128, '\0'));
  LaySig(1, "1:2/3 old\t1\n");
  SetReply("1:2/3 old");
  EXPECT_EQ(Toss(), kRouteFailed);
  EXPECT_EQ(TakeLines(),
            (Strings{Gone(1), "ERROR: conference 1 has IDX/DAT data but no PTR records",
                     "ERROR: conference 1 failed message-base preflight; refusing to append", kNotStored}));
}

TEST_F(Route, APtrFileThatCannotBeOpenedFailsThePreflight) {
  LayMessage(7);
  door_.FailFrom(Call::kOpen, 1, ".PTR");
  EXPECT_EQ(Toss(), kRouteFailed);
  EXPECT_EQ(TakeLines(),
            (Strings{"ERROR: could not open " + site_.Base(1).Path("PTR") + " for preflight",
                     "ERROR: conference 1 failed message-base preflight; refusing to append", kNotStored}));
}

TEST_F(Route, AFailedAppendIsAFailure) {
  LayMessage(7);
  door_.FailNth(Call::kWriteAt, 1, ".IDX");
  EXPECT_EQ(Toss(), kRouteFailed);
  EXPECT_EQ(TakeLines(),
            (Strings{"ERROR: checked message-base append failed for conf 1",
                     "  conf 1 append failed; DAT/IDX/PTR/SIG restored to their original sizes", kNotStored}));
}

TEST_F(Route, ExhaustedNumbersAreAFailure) {
  LayMessage(2147483646);
  EXPECT_EQ(Toss(), kRouteStored);
  EXPECT_EQ(Last(1).number, 2147483647);
  (void)TakeLines();
  EXPECT_EQ(Toss(), kRouteFailed);
  EXPECT_EQ(TakeLines(), (Strings{"ERROR: conf 1 has reached the signed 32-bit MsgNumber limit", kNotStored}));
}

TEST_F(Route, NothingIsKeptFromOneMessageToTheNext) {
  EXPECT_EQ(Toss(), kRouteStored);
  LayMessage(50);  // meanwhile, by another program
  EXPECT_EQ(Toss(), kRouteStored);
  EXPECT_EQ(Last(1).number, 51);
}
