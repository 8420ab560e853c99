#include "scan/outbound_text.h"

#include "base/fixed_text.h"
#include "unit/support/site_fixture.h"

namespace {

class OutboundTexts : public SiteFixture {
 protected:
  OutboundTexts() {
    CopyCut(conference_.NetIDName, "FIDO");
    conference_.Number = 2;
    message_.conference = &conference_;
    message_.header.MsgNumber = 12;
    message_.header.ThreadRef = 12;
    kludges_ = {"1:229/426 0000002a", "+0100", ""};
    SetBody("Hello");
  }

  void SetBody(const std::string& body) {
    message_.body.size = 0;
    ASSERT_EQ(AppendBytes(&message_.body, body.data(), body.size()), 0);
  }

  OutboundKludges Make(uint32_t serial = 1) {
    return MakeKludges({&site_.config, site_.config.MsgDir, &no_lock_}, message_, serial);
  }

  // The offset told when it is `utc` there and local time is `minutes` ahead.
  std::string Tzutc(int64_t utc, int minutes) {
    clock_.now = utc;
    clock_.local_offset = minutes * 60;
    return Make().tzutc;
  }

  std::string ReplyTo(int32_t parent) {
    message_.header.IsReply = true;
    message_.header.ThreadRef = parent;
    return Make().reply;
  }

  std::string Text() {
    EXPECT_EQ(AssembleText(site_.config, message_, kludges_, &text_), 0);
    EXPECT_LT(text_.size, text_.capacity);
    EXPECT_EQ(text_.data[text_.size], 0);
    return {reinterpret_cast<const char*>(text_.data), text_.size};
  }

  ConferenceEntry conference_;
  LocalMessage message_;
  OutboundKludges kludges_;
  ByteBuffer text_;
};

constexpr int64_t kJanuary1 = 1767225600;    // 2026-01-01 00:00:00 UTC
constexpr int64_t kMarch1 = 1772323200;      // 2026-03-01 00:00:00 UTC
constexpr int64_t kNovember11 = 1762819200;  // 2025-11-11 00:00:00 UTC
constexpr int64_t kHour = 3600;
constexpr char kNetmailHeader[] = "\x01MSGID: 1:229/426 0000002a\r\x01TZUTC: +0100\r";

}  // namespace

TEST_F(OutboundTexts, TzutcIsTheOffsetOfLocalTime) {
  const int64_t noon = kNovember11 + 12 * kHour;
  EXPECT_EQ(Tzutc(noon, 0), "+0000");
  EXPECT_EQ(Tzutc(noon, 60), "+0100");
  EXPECT_EQ(Tzutc(noon, 330), "+0530");
  EXPECT_EQ(Tzutc(noon, 345), "+0545");
  EXPECT_EQ(Tzutc(noon, -30), "-0030");
  EXPECT_EQ(Tzutc(noon, -210), "-0330");
  EXPECT_EQ(Tzutc(noon, 780), "+1300");
  EXPECT_EQ(Tzutc(noon, -660), "-1100");
}

TEST_F(OutboundTexts, TzutcHoldsAcrossMidnight) {
  EXPECT_EQ(Tzutc(kNovember11 + 1 * kHour, -300), "-0500");  // 20:00 on the day before
  EXPECT_EQ(Tzutc(kNovember11 - 1 * kHour, 120), "+0200");   // 01:00 on the next day
  EXPECT_EQ(Tzutc(kNovember11 - 1, 1), "+0001");
  EXPECT_EQ(Tzutc(kNovember11, -1), "-0001");
  EXPECT_EQ(Tzutc(kNovember11 - 1, 840), "+1400");
  EXPECT_EQ(Tzutc(kNovember11, -720), "-1200");
  EXPECT_EQ(Tzutc(kNovember11, -1439), "-2359");
  EXPECT_EQ(Tzutc(kNovember11 - 1, 1439), "+2359");
}

TEST_F(OutboundTexts, TzutcHoldsAcrossTheEndsOfMonthAndYear) {
  EXPECT_EQ(Tzutc(kJanuary1 - 90 * 60, 120), "+0200");  // 00:30 on the 1st, 22:30 UTC on the 31st
  EXPECT_EQ(Tzutc(kJanuary1 + 90 * 60, -120), "-0200");
  EXPECT_EQ(Tzutc(kMarch1 - 1, 60), "+0100");  // the 1st against the 28th
  EXPECT_EQ(Tzutc(kMarch1, -60), "-0100");
  EXPECT_EQ(Tzutc(kJanuary1 - 1, 840), "+1400");
  EXPECT_EQ(Tzutc(kJanuary1, -720), "-1200");
}

TEST_F(OutboundTexts, ASigFileThatIsMissingOrCannotBeOpenedMeansNoReply) {
  EXPECT_EQ(ReplyTo(8), "");
  WriteFile(site_.Base(2).Path("SIG"), "first\t8\n");
  door_.FailNth(Call::kOpen, 1);
  EXPECT_EQ(ReplyTo(8), "");
  EXPECT_EQ(ReplyTo(8), "\x01REPLY: first\r");
  EXPECT_EQ(TakeLines(), Strings{});
}

TEST_F(OutboundTexts, SeenByHasTheHubsNodeOnOurNet) {
  site_.config.OurAddress = {2, 250, 10, 3};
  site_.config.HubAddress = {3, 251, 20, 4};
  const std::string text = Text();
  EXPECT_NE(text.find(" (2:250/10)\rSEEN-BY: 250/10 20\r\x01PATH: 250/10\r"), std::string::npos) << text;
}

TEST_F(OutboundTexts, TheLongestOfEverythingFits) {
  const int32_t lowest = -2147483647;
  site_.config.OurAddress = site_.config.HubAddress = {lowest, lowest, lowest, lowest};
  const std::string name(63, 'S');
  const std::string tag(15, 'T');
  CopyCut(site_.config.SystemName, name.c_str());
  CopyCut(conference_.NetIDName, tag.c_str());
  const std::string reply = "\x01REPLY: " + std::string(63, 'm') + "\r";
  CopyCut(kludges_.reply, reply.c_str());
  EXPECT_EQ(Text(), "AREA:" + tag + "\r" + kNetmailHeader + reply + "Hello\r\r\r--- cvtoss32 1.05\r" +
                        " * Origin: " + name + " (-2147483647:-2147483647/-2147483647)\r" +
                        "SEEN-BY: -2147483647/-2147483647 -2147483647\r\x01PATH: -2147483647/-2147483647\r");
}

TEST_F(OutboundTexts, WithoutMemoryBothKindsSayWhichTheyAre) {
  for (const bool netmail : {false, true}) {
    message_.header.NetMail = netmail;
    int failures = 0;
    for (int nth = 1;; ++nth) {
      FreeBytes(&text_);
      door_.Clear();
      door_.FailNth(Call::kReallocate, nth);
      const int result = AssembleText(site_.config, message_, kludges_, &text_);
      if (!door_.HasStruck()) break;
      ++failures;
      EXPECT_EQ(result, -1);
      EXPECT_EQ(TakeLines(), Strings{netmail ? "ERROR: out of memory assembling outbound netmail"
                                             : "ERROR: out of memory assembling outbound echomail"});
    }
    EXPECT_GE(failures, 1);
  }
}
