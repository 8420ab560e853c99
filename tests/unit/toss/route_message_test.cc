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
  void LayMessage(int32_t number, bool deleted = false) const {
    BaseMessage message;
    message.number = number;
    message.deleted = deleted;
    site_.Base(1).Add(message);
  }

  BaseMessage Last(int conference) const {
    const std::vector<BaseMessage> messages = site_.Base(conference).Read();
    EXPECT_FALSE(messages.empty());
    return messages.empty() ? BaseMessage{} : messages.back();
  }

  InboundMessage message_;
};

using RouteConference = Route;
using RouteDuplicate = Route;
using RouteParent = Route;
using RouteStore = Route;

constexpr char kWrote1[] = "  -> wrote conf 1 msg #1  From='Ann Author' To='Bob' Subj='Hello' (1 records)";
constexpr char kWrote2[] = "  -> wrote conf 2 msg #1  From='Ann Author' To='Bob' Subj='Hello' (1 records)";
constexpr char kNotStored[] = "  msg 4: message-base append failed; source packet will be retained";

std::string NotFound(const std::string& reply) {
  return "  msg 4: reply to MSGID " + reply +
         ", but parent not found locally in conf 1 -- storing as non-threaded (safe fallback)";
}

std::string Gone(int number) {
  return "  parent MSGID resolved to MsgNumber " + std::to_string(number) +
         " via .SIG tracking, but that message no longer exists (or is marked Deleted) in the current message base -- "
         "storing as non-threaded (safe fallback)";
}

}  // namespace

// The conference.

TEST_F(RouteConference, TagsMatchWithoutRegardToCase) {
  int stored = 0;
  for (const char* area : {"GENERAL", "general", "GeNeRaL"}) {
    SetArea(area);
    EXPECT_EQ(Toss(), kRouteStored);
    EXPECT_EQ(CountIn(1), static_cast<size_t>(++stored));
  }
  EXPECT_EQ(BadAreas(), "");
}

TEST_F(RouteConference, TheFirstRoutedConferenceWithTheTagIsTaken) {
  UseConferences({{"a", "ECHO", false}, {"b", "ECHO"}, {"c", "ECHO"}});
  SetArea("echo");
  EXPECT_EQ(Toss(), kRouteStored);
  EXPECT_EQ(CountIn(2), 1U);
  EXPECT_EQ(CountIn(1) + CountIn(3), 0U);
}

TEST_F(RouteConference, ATagMustMatchWhole) {
  for (const char* area : {"GENERA", "GENERALS", "GENERAL.X", "*"}) {
    SetArea(area);
    EXPECT_EQ(Toss(), kRouteSkipped) << area;
  }
  EXPECT_EQ(CountIn(1), 0U);
}

TEST_F(RouteConference, ATagOfMoreThan15CharactersNeverMatches) {
  UseConferences({{"a", "ABCDEFGHIJKLMNO"}});
  SetArea("abcdefghijklmno");
  EXPECT_EQ(Toss(), kRouteStored);
  SetArea("abcdefghijklmnop");
  EXPECT_EQ(Toss(), kRouteSkipped);
}

TEST_F(RouteConference, NetmailGoesToTheNetmailConference) {
  SetArea("");
  EXPECT_EQ(Toss(), kRouteStored);
  EXPECT_TRUE(Only(3).netmail);
  EXPECT_EQ(BadAreas(), "");
}

TEST_F(RouteConference, NetmailWithoutItsConferenceIsSkipped) {
  UseConferences({{"a", "*"}});
  SetArea("");
  EXPECT_EQ(Toss(), kRouteSkipped);
  EXPECT_EQ(TakeLines(), Strings{"  msg 4: netmail with no NetMailConf=1 conference configured -- SKIPPED"});
  EXPECT_EQ(BadAreas(), "");
  EXPECT_EQ(CountIn(1), 0U);
}

TEST_F(RouteConference, AnUnknownAreaIsParkedInTheCatchAll) {
  UseConferences({{"a", "A"}, {"b", "*", false}, {"c", "*"}, {"d", "*"}});
  SetArea("Some.Where");
  EXPECT_EQ(Toss(), kRouteStored);
  EXPECT_EQ(
      TakeLines(),
      (Strings{"  msg 4: AREA:Some.Where has no matching conference -- parked in catch-all conf 3 (see BADAREAS.LST)",
               "  -> wrote conf 3 msg #1  From='Ann Author' To='Bob' Subj='Hello' (1 records)"}));
  EXPECT_EQ(BadAreas(), std::string("2025-11-15 00:31:24  Some.Where") + kOsLineEnd);
  EXPECT_FALSE(Only(3).netmail);
}

TEST_F(RouteConference, AnUnknownAreaWithoutACatchAllIsSkipped) {
  UseConferences({{"a", "Some.Where", false}, {"b", "*", false}});
  SetArea("Some.Where");
  EXPECT_EQ(Toss(), kRouteSkipped);
  EXPECT_EQ(
      TakeLines(),
      Strings{
          "  msg 4: AREA:Some.Where has no matching conference and no catch-all configured -- SKIPPED (logged to BADAREAS.LST)"});
  EXPECT_EQ(BadAreas(), std::string("2025-11-15 00:31:24  Some.Where") + kOsLineEnd);
  EXPECT_EQ(CountIn(1) + CountIn(2), 0U);
}

TEST_F(RouteConference, TheTagOfTheCatchAllGoesThereDirectly) {
  UseConferences({{"a", "A"}, {"b", "*"}});
  SetArea("*");
  EXPECT_EQ(Toss(), kRouteStored);
  EXPECT_EQ(TakeLines(), Strings{kWrote2});
  EXPECT_EQ(BadAreas(), "");
}

TEST_F(RouteConference, AListThatCannotBeWrittenStopsNothing) {
  UseConferences({{"a", "*"}});
  SetArea("NOWHERE");
  door_.FailNth(Call::kOpen, 1, "BADAREAS.LST");
  EXPECT_EQ(Toss(), kRouteStored);
  EXPECT_EQ(log_.CountOf(kWrote1), 1);
  EXPECT_EQ(BadAreas(), "");
}

// Duplicates.

TEST_F(RouteDuplicate, AMsgidThatIsThereAlreadyIsSkipped) {
  SetMsgid("1:2/3 0a1b");
  EXPECT_EQ(Toss(), kRouteStored);
  (void)TakeLines();
  const auto before = site_.Files();
  EXPECT_EQ(Toss(5), kRouteSkipped);
  EXPECT_EQ(TakeLines(), Strings{"  msg 5: duplicate (MSGID 1:2/3 0a1b already seen in conf 1) -- SKIPPED"});
  EXPECT_EQ(site_.Files(), before);
}

TEST_F(RouteDuplicate, TheComparisonIsExact) {
  LaySig(1, "1:2/3 0a1b\t1\n");
  for (const char* msgid : {"1:2/3 0A1B", "1:2/3  0a1b", "1:2/3 0a1b "}) {
    SetMsgid(msgid);
    EXPECT_EQ(Toss(), kRouteStored) << msgid;
  }
}

TEST_F(RouteDuplicate, ALineWithoutATabMakesADuplicateToo) {
  LaySig(1, "1:2/3 0a1b\n");
  SetMsgid("1:2/3 0a1b");
  EXPECT_EQ(Toss(), kRouteSkipped);
}

TEST_F(RouteDuplicate, AMessageWithoutAMsgidIsNeverOne) {
  LaySig(1, "\n\t1\n");
  EXPECT_EQ(Toss(), kRouteStored);
  EXPECT_EQ(Toss(), kRouteStored);
  EXPECT_EQ(ReadFile(site_.Base(1).Path("SIG")), "\n\t1\n");
}

TEST_F(RouteDuplicate, TheSameMsgidInAnotherConferenceIsNone) {
  SetMsgid("1:2/3 0a1b");
  EXPECT_EQ(Toss(), kRouteStored);
  SetArea("FIDO");
  EXPECT_EQ(Toss(), kRouteStored);
  EXPECT_EQ(Only(2).msgid, "1:2/3 0a1b");
}

TEST_F(RouteDuplicate, AParkedMessageIsListedAgainBeforeItIsFoundToBeOne) {
  UseConferences({{"a", "*"}});
  SetArea("NOWHERE");
  SetMsgid("1:2/3 0a1b");
  EXPECT_EQ(Toss(), kRouteStored);
  (void)TakeLines();
  EXPECT_EQ(Toss(), kRouteSkipped);
  EXPECT_EQ(
      TakeLines(),
      (Strings{"  msg 4: AREA:NOWHERE has no matching conference -- parked in catch-all conf 1 (see BADAREAS.LST)",
               "  msg 4: duplicate (MSGID 1:2/3 0a1b already seen in conf 1) -- SKIPPED"}));
  EXPECT_EQ(SplitLines(BadAreas()).size(), 2U);
}

TEST_F(RouteDuplicate, ADuplicateIsNotAskedForItsParent) {
  LaySig(1, "1:2/3 0a1b\t1\n");
  SetMsgid("1:2/3 0a1b");
  SetReply("1:2/3 none");
  EXPECT_EQ(Toss(), kRouteSkipped);
  EXPECT_EQ(log_.CountOf(NotFound("1:2/3 none")), 0);
}

TEST_F(RouteDuplicate, ASigFileThatCannotBeReadHoldsNone) {
  LaySig(1, "1:2/3 0a1b\t1\n");
  SetMsgid("1:2/3 0a1b");
  door_.FailNth(Call::kOpen, 1, ".SIG");
  EXPECT_EQ(Toss(), kRouteStored);
  EXPECT_EQ(TakeLines(), Strings{kWrote1});
}

// The parent.

TEST_F(RouteParent, AReplyIsThreadedUnderItsLiveParent) {
  LayMessage(7);
  LaySig(1, "1:2/3 old\t7\n1:2/3 old\t3\n");
  SetReply("1:2/3 old");
  EXPECT_EQ(Toss(), kRouteStored);
  EXPECT_EQ(TakeLines(), Strings{"  -> wrote conf 1 msg #8  From='Ann Author' To='Bob' Subj='Hello' (1 records)"});
  const std::string ptr = ReadFile(site_.Base(1).Path("PTR")).substr(256);
  EXPECT_EQ(ToHex(ptr.substr(155, 2)), "01 00");
  EXPECT_EQ(ToHex(ptr.substr(166, 8)), "08 00 00 00 07 00 00 00");
}

TEST_F(RouteParent, AReplyWithoutItsParentIsStoredOnItsOwn) {
  struct Case {
    const char* why;
    const char* sig;
  };
  for (const Case& c :
       {Case{"no line", "1:2/3 other\t7\n"}, Case{"another case", "1:2/3 OLD\t7\n"}, Case{"no tab", "1:2/3 old\n"},
        Case{"a negative number", "1:2/3 old\t-7\n"}, Case{"an empty file", ""}}) {
    LayMessage(7);
    LaySig(1, c.sig);
    SetReply("1:2/3 old");
    EXPECT_EQ(Toss(), kRouteStored);
    EXPECT_EQ(TakeLines().at(0), NotFound("1:2/3 old")) << c.why;
    EXPECT_EQ(ToHex(ReadFile(site_.Base(1).Path("PTR")).substr(256 + 155, 2)), "00 01") << c.why;
    for (const char* kind : {"PTR", "IDX", "DAT", "SIG"}) RemoveFile(site_.Base(1).Path(kind));
  }
}

TEST_F(RouteParent, AMissingSigFileHoldsNoParent) {
  SetReply("1:2/3 old");
  EXPECT_EQ(Toss(), kRouteStored);
  EXPECT_EQ(TakeLines(), (Strings{NotFound("1:2/3 old"), kWrote1}));
}

TEST_F(RouteParent, ANumberOf0IsNoParentAndNotWorthALine) {
  LaySig(1, "1:2/3 old\tx\n");
  SetReply("1:2/3 old");
  EXPECT_EQ(Toss(), kRouteStored);
  EXPECT_EQ(TakeLines(), Strings{kWrote1});
  EXPECT_EQ(ToHex(ReadFile(site_.Base(1).Path("PTR")).substr(155, 2)), "00 01");
}

TEST_F(RouteParent, AParentThatIsGoneOrDeletedIsNone) {
  struct Case {
    const char* why;
    int32_t number;
    bool deleted;
  };
  for (const Case& c : {Case{"deleted", 7, true}, Case{"packed away", 6, false}}) {
    LayMessage(c.number, c.deleted);
    const std::string before = ReadFile(site_.Base(1).Path("PTR"));
    LaySig(1, "1:2/3 old\t7\n");
    SetReply("1:2/3 old");
    EXPECT_EQ(Toss(), kRouteStored);
    EXPECT_EQ(TakeLines().at(0), Gone(7)) << c.why;
    const std::string ptr = ReadFile(site_.Base(1).Path("PTR")).substr(before.size());
    EXPECT_EQ(ToHex(ptr.substr(155, 2)), "00 01") << c.why;
    EXPECT_EQ(ptr.substr(166, 4), ptr.substr(170, 4)) << c.why;
    for (const char* kind : {"PTR", "IDX", "DAT", "SIG"}) RemoveFile(site_.Base(1).Path(kind));
  }
}

TEST_F(RouteParent, AParentInAMessageBaseWithoutHeadersIsGone) {
  LaySig(1, "1:2/3 old\t1\n");
  SetReply("1:2/3 old");
  EXPECT_EQ(Toss(), kRouteStored);
  EXPECT_EQ(TakeLines(), (Strings{Gone(1), kWrote1}));
  EXPECT_EQ(ToHex(ReadFile(site_.Base(1).Path("PTR")).substr(155, 2)), "00 01");
}

TEST_F(RouteParent, AReplySubjectWithoutAReplyIsRemarkedOn) {
  CopyCut(message_.subject, "RE: Hello");
  EXPECT_EQ(Toss(), kRouteStored);
  EXPECT_EQ(
      TakeLines(),
      (Strings{
          "  msg 4: subject looks like a reply but no REPLY: kludge present -- storing as non-threaded (safe fallback)",
          "  -> wrote conf 1 msg #1  From='Ann Author' To='Bob' Subj='RE: Hello' (1 records)"}));
}

TEST_F(RouteParent, AReplySubjectWithAReplyIsNot) {
  LayMessage(7);
  LaySig(1, "1:2/3 old\t7\n");
  SetReply("1:2/3 old");
  CopyCut(message_.subject, "Re: Hello");
  EXPECT_EQ(Toss(), kRouteStored);
  EXPECT_EQ(log_.CountOfStart("  msg 4:"), 0);
}

// Storing.

TEST_F(RouteStore, EveryFieldIsHandedOver) {
  SetMsgid("1:2/3 0a1b");
  message_.attribute = 0x0101;
  EXPECT_EQ(Toss(), kRouteStored);
  const BaseMessage stored = Only(1);
  EXPECT_EQ(stored.date, "01/05/25 12:07am");
  EXPECT_EQ(stored.from, "Ann Author");
  EXPECT_EQ(stored.to, "Bob");
  EXPECT_EQ(stored.subject, "Hello");
  EXPECT_EQ(stored.origin, "229/426");
  EXPECT_EQ(stored.body, "text\x01");
  EXPECT_EQ(stored.msgid, "1:2/3 0a1b");
  EXPECT_TRUE(stored.is_private);
  EXPECT_TRUE(stored.sent);
  EXPECT_FALSE(stored.netmail);
  EXPECT_EQ(stored.conference, 1);
  EXPECT_EQ(stored.number, 1);
}

TEST_F(RouteStore, NumbersGoOnFromTheHighestDeletedOrNot) {
  LayMessage(41);
  LayMessage(90, true);
  LayMessage(12);
  EXPECT_EQ(Toss(), kRouteStored);
  EXPECT_EQ(Last(1).number, 91);
}

TEST_F(RouteStore, ADateThatCannotBeReadIsKeptAsItIs) {
  CopyCut(message_.dateTime, "5 Foo 25 10:00:00");
  EXPECT_EQ(Toss(), kRouteStored);
  EXPECT_EQ(Only(1).date, "5 Foo 25 10:00:00");
}

TEST_F(RouteStore, AnUnsoundMessageBaseIsNotTouched) {
  WriteFile(site_.Base(1).Path("DAT"), std::string(128, '\0'));
  SetMsgid("1:2/3 0a1b");
  const auto before = site_.Files();
  EXPECT_EQ(Toss(), kRouteFailed);
  EXPECT_EQ(TakeLines(),
            (Strings{"ERROR: conference 1 has IDX/DAT data but no PTR records",
                     "ERROR: conference 1 failed message-base preflight; refusing to append", kNotStored}));
  EXPECT_EQ(site_.Files(), before);
}

TEST_F(RouteStore, TheRemarkOnTheParentComesBeforeThePreflight) {
  WriteFile(site_.Base(1).Path("DAT"), std::string(128, '\0'));
  LaySig(1, "1:2/3 old\t1\n");
  SetReply("1:2/3 old");
  EXPECT_EQ(Toss(), kRouteFailed);
  EXPECT_EQ(TakeLines(),
            (Strings{Gone(1), "ERROR: conference 1 has IDX/DAT data but no PTR records",
                     "ERROR: conference 1 failed message-base preflight; refusing to append", kNotStored}));
}

TEST_F(RouteStore, APtrFileThatCannotBeOpenedFailsThePreflight) {
  LayMessage(7);
  door_.FailFrom(Call::kOpen, 1, ".PTR");
  EXPECT_EQ(Toss(), kRouteFailed);
  EXPECT_EQ(TakeLines(),
            (Strings{"ERROR: could not open " + site_.Base(1).Path("PTR") + " for preflight",
                     "ERROR: conference 1 failed message-base preflight; refusing to append", kNotStored}));
}

TEST_F(RouteStore, AFailedAppendIsAFailure) {
  LayMessage(7);
  door_.FailNth(Call::kWriteAt, 1, ".IDX");
  EXPECT_EQ(Toss(), kRouteFailed);
  EXPECT_EQ(TakeLines(),
            (Strings{"ERROR: checked message-base append failed for conf 1",
                     "  conf 1 append failed; DAT/IDX/PTR/SIG restored to their original sizes", kNotStored}));
}

TEST_F(RouteStore, ExhaustedNumbersAreAFailure) {
  LayMessage(2147483646);
  EXPECT_EQ(Toss(), kRouteStored);
  EXPECT_EQ(Last(1).number, 2147483647);
  (void)TakeLines();
  EXPECT_EQ(Toss(), kRouteFailed);
  EXPECT_EQ(TakeLines(), (Strings{"ERROR: conf 1 has reached the signed 32-bit MsgNumber limit", kNotStored}));
}

TEST_F(RouteStore, NothingIsKeptFromOneMessageToTheNext) {
  EXPECT_EQ(Toss(), kRouteStored);
  LayMessage(50);  // meanwhile, by another program
  EXPECT_EQ(Toss(), kRouteStored);
  EXPECT_EQ(Last(1).number, 51);
}
