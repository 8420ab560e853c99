#include "scan/pack_message.h"

#include "base/fixed_text.h"
#include "unit/support/site_fixture.h"

namespace {

class QueueMessages : public SiteFixture {
 protected:
  QueueMessages() {
    CopyCut(conference_.NetIDName, "FIDO");
    conference_.Number = 2;
    message_.conference = &conference_;
    message_.ordinal = 41;
    message_.header.MsgNumber = message_.header.ThreadRef = 12;
    CopyCut(message_.header.From, "Ann Author");
    CopyCut(message_.header.To, "Bob@5:6/7.8");
    CopyCut(message_.header.Subj, "Hello");
    CopyCut(message_.recipient, "Bob");
    message_.destination = {5, 6, 7, 8};
    CopyCut(ptr_.text, "the PTR file");
    clock_.now = 1167987843;  // 2007-01-05 09:04:03 UTC
  }

  int Queue() { return PackLocalMessage(Where(), ptr_, message_, &outbound_); }
  ScanSite Where() { return {&site_.config, site_.config.MsgDir, &no_lock_}; }

  // The packet so far, each NUL shown as "|" and each CR as "/", the numbers of the head left out.
  std::string Texts() const {
    std::string texts(reinterpret_cast<const char*>(outbound_.packet.data) + 14, outbound_.packet.size - 14);
    for (char& c : texts) c = c == '\0' ? '|' : c == '\r' ? '/' : c == '\x01' ? '^' : c;
    return texts;
  }

  void LayParent() {
    message_.header.IsReply = true;
    message_.header.ThreadRef = 3;
    WriteFile(site_.Base(2).Path("SIG"), "1:2/3 abc\t3\n");
  }

  ConferenceEntry conference_;
  LocalMessage message_;
  BasePath ptr_;
  Outbound outbound_;
};

constexpr char kNoSerial[] = "ERROR: could not allocate/persist the next outbound MSGID serial";

}  // namespace

TEST_F(QueueMessages, ARecordIsKeptOfEach) {
  ASSERT_EQ(Queue(), 0);
  message_.ordinal = 42;
  ASSERT_EQ(Queue(), 0);
  ASSERT_EQ(outbound_.queue.count, 2U);
  for (size_t i = 0; i < 2; ++i) {
    const ExportRecord record = GetExport(outbound_.queue, i);
    EXPECT_STREQ(record.ptr.text, "the PTR file");
    EXPECT_EQ(record.ordinal, 41 + static_cast<int64_t>(i));
    EXPECT_EQ(record.conference, 2);
    EXPECT_EQ(record.msg_number, 12);
    EXPECT_EQ(record.msgid, "1:229/426 0000000" + std::to_string(i + 1));
  }
}

TEST_F(QueueMessages, TheDateIsReadAgainAfterTheOffset) {
  LayParent();
  door_.BeforeNth(
      Call::kOpen, 1, [this] { clock_.now += 3600; }, ".SIG");  // looked for after the offset is told
  clock_.local_offset = -5 * 3600;
  ASSERT_EQ(Queue(), 0);
  EXPECT_EQ(Texts().substr(0, 19), "05 Jan 07  05:04:03");
  EXPECT_NE(Texts().find("^TZUTC: -0500/"), std::string::npos);
}

TEST_F(QueueMessages, WithoutSerialNothingIsQueued) {
  WriteFile(site_.Msg("CVOUTBOUND.SEQ"), "nonsense");
  EXPECT_EQ(Queue(), -1);
  EXPECT_EQ(TakeLines(), Strings{kNoSerial});
  EXPECT_EQ(outbound_.packet.size, 0U);
  EXPECT_EQ(outbound_.queue.count, 0U);
}

TEST_F(QueueMessages, WithoutMemoryEachStepHasItsLineAndTheSerialStaysTaken) {
  for (const bool netmail : {false, true}) {
    message_.header.NetMail = netmail;
    const std::string kind = netmail ? "netmail" : "echomail";
    Strings lines;
    uint32_t serials = 0;
    for (int nth = 1;; ++nth) {
      Outbound fresh;
      door_.Clear();
      door_.FailNth(Call::kReallocate, nth);
      const int result = PackLocalMessage(Where(), ptr_, message_, &fresh);
      const Strings said = TakeLines();
      ++serials;
      if (!door_.HasStruck()) break;
      EXPECT_EQ(result, -1);
      EXPECT_EQ(fresh.queue.count, 0U);
      ASSERT_EQ(said.size(), 1U);
      if (lines.empty() || lines.back() != said[0]) lines.push_back(said[0]);
    }
    EXPECT_EQ(lines, (Strings{"ERROR: out of memory assembling outbound " + kind,
                              "ERROR: out of memory queuing outbound " + kind}));
    EXPECT_EQ(ReadFile(site_.Msg("CVOUTBOUND.SEQ")), std::to_string(serials) + kOsLineEnd);
    RemoveFile(site_.Msg("CVOUTBOUND.SEQ"));
  }
}
