#include "scan/local_message.h"

#include "unit/support/site_fixture.h"

namespace {

class LocalMessages : public SiteFixture {
 protected:
  LocalMessages() {
    conference_.Number = 3;
    message_.conference = &conference_;
    header_.number = 12;
    header_.records = 1;
    header_.sent = false;
    SetBody("Hello\x01");
  }

  void SetBody(const std::string& body) { WriteFile(dat_, DatBytes(body)); }

  ReadMessageResult Read() {
    const std::string record = PtrBytes(header_);
    return ReadLocalMessage(BytesOf(record), 5, dat_.c_str(), &raw_, &message_);
  }

  // Reads a netmail message to `to`; whether it can be addressed.
  bool IsAddressed(const std::string& to) {
    header_.netmail = true;
    header_.to = to;
    return Read() == kMessageRead;
  }

  std::string Body() const { return {reinterpret_cast<const char*>(message_.body.data), message_.body.size}; }

  const std::string dat_ = site_.Base(3).Path("DAT");
  ConferenceEntry conference_;
  BaseMessage header_;
  ByteBuffer raw_;
  LocalMessage message_;
};

constexpr char kUnreadable[] = "  msg #12 in conf 3: could not read body records -- skipping";
constexpr char kNoMemory[] = "ERROR: out of memory stripping outbound body";

}  // namespace

TEST(IsUnsent, OnlyAHeaderThatIsNeitherSentNorDeletedIs) {
  for (const int sent : {0, 1, 128, 255}) {
    for (const int deleted : {0, 1, 128, 255}) {
      std::string record(256, '\xFF');
      record[153] = static_cast<char>(sent);
      record[158] = static_cast<char>(deleted);
      EXPECT_EQ(IsUnsent(BytesOf(record)), sent == 0 && deleted == 0) << sent << ", " << deleted;
    }
  }
}

TEST_F(LocalMessages, AnEchomailMessageIsReadWithItsHeaderAndBody) {
  header_.is_private = true;
  ASSERT_EQ(Read(), kMessageRead);
  EXPECT_STREQ(message_.header.From, "Ann Author");
  EXPECT_STREQ(message_.header.To, "All");
  EXPECT_STREQ(message_.header.Subj, "Hello");
  EXPECT_EQ(message_.header.MsgNumber, 12);
  EXPECT_TRUE(message_.header.Private);
  EXPECT_EQ(message_.ordinal, 5);
  EXPECT_EQ(Body(), "Hello\r");
  EXPECT_EQ(TakeLines(), Strings{});
}

TEST_F(LocalMessages, AnEchomailMessageNeedsNoAddress) {
  header_.to = "Bob@nowhere";
  ASSERT_EQ(Read(), kMessageRead);
  EXPECT_STREQ(message_.header.To, "Bob@nowhere");
}

TEST_F(LocalMessages, HighBytesAreStrippedAndAllOthersKept) {
  std::string every;
  std::string kept;
  for (int byte = 0; byte < 256; ++byte) {
    if (byte == 1) continue;  // a line end
    every += static_cast<char>(byte);
    if (byte < 0x80) kept += static_cast<char>(byte);
  }
  header_.records = 3;
  SetBody(every);
  ASSERT_EQ(Read(), kMessageRead);
  EXPECT_EQ(Body(), kept);
  header_.records = 1;
  SetBody("\x80\xE4\xFF");
  ASSERT_EQ(Read(), kMessageRead);
  EXPECT_EQ(Body(), "");
}

TEST_F(LocalMessages, TheTextBehindTheLastAtSignIsTheAddress) {
  ASSERT_TRUE(IsAddressed("Sysop@1:2/3"));
  EXPECT_STREQ(message_.recipient, "Sysop");
  EXPECT_EQ(message_.destination.Zone, 1);
  EXPECT_EQ(message_.destination.Net, 2);
  EXPECT_EQ(message_.destination.Node, 3);
  EXPECT_EQ(message_.destination.Point, 0);
  ASSERT_TRUE(IsAddressed("a@b@4:5/6.7"));
  EXPECT_STREQ(message_.recipient, "a@b");
  EXPECT_EQ(message_.destination.Node, 6);
  EXPECT_EQ(message_.destination.Point, 7);
  ASSERT_TRUE(IsAddressed("Sysop@1:2/3"));
  EXPECT_EQ(message_.destination.Point, 0) << "left over from the message before";
  ASSERT_TRUE(IsAddressed("abcdefghijklmnopqrstuvwx@1:2/3"));  // all 30 characters
  EXPECT_STREQ(message_.recipient, "abcdefghijklmnopqrstuvwx");
  ASSERT_TRUE(IsAddressed("@1:2/3"));
  EXPECT_STREQ(message_.recipient, "");
  EXPECT_EQ(TakeLines(), Strings{});
}

TEST_F(LocalMessages, NetmailWithoutAUsableAddressIsSkippedBeforeItsBodyIsRead) {
  RemoveFile(dat_);
  for (const char* to : {"Sysop", "Sysop@", "Sysop@1:2", "Sysop@1:2/3@", "Sysop@1/2", ""}) {
    EXPECT_FALSE(IsAddressed(to));
    EXPECT_EQ(TakeLines(), Strings{"  msg #12 in conf 3: netmail To: '" + std::string(to) +
                                   "' has no parseable @address -- skipping (left unsent). Address it as "
                                   "'Name@zone:net/node'."});
  }
  EXPECT_EQ(door_.Count(Call::kOpen), 0);
}

TEST_F(LocalMessages, ABodyThatCannotBeReadIsSkippedInBothKinds) {
  Fault missing;
  missing.call = Call::kOpen;
  missing.answer = kOsMissing;
  Fault cut;
  cut.call = Call::kReadAt;
  cut.is_short = cut.for_good = true;
  std::vector<Fault> faults = {missing, cut};
  for (const Call call : {Call::kOpen, Call::kReadAt, Call::kClose}) {
    faults.emplace_back();
    faults.back().call = call;
  }
  for (const bool netmail : {false, true}) {
    header_.netmail = netmail;
    header_.to = "Bob@1:2/3";
    for (const Fault& fault : faults) {
      door_.Clear();
      door_.Fail(fault);
      EXPECT_EQ(Read(), kMessageSkipped);
      EXPECT_TRUE(door_.HasStruck());
      EXPECT_EQ(TakeLines(), Strings{kUnreadable});
    }
  }
}

TEST_F(LocalMessages, ABodyThatEndsBeforeItsLastRecordIsSkipped) {
  header_.records = 2;
  EXPECT_EQ(Read(), kMessageSkipped);
  header_.records = 1;
  header_.where = 1;
  EXPECT_EQ(Read(), kMessageSkipped);
  EXPECT_EQ(TakeLines(), (Strings{kUnreadable, kUnreadable}));
}

TEST_F(LocalMessages, WithoutMemoryToReadTheBodyIsSkippedAndWithoutMemoryToStripTheScanEnds) {
  door_.FailNth(Call::kReallocate, 1);
  EXPECT_EQ(Read(), kMessageSkipped);
  EXPECT_EQ(TakeLines(), Strings{kUnreadable});
  door_.Clear();
  FreeBytes(&raw_);
  door_.FailNth(Call::kReallocate, 2);
  EXPECT_EQ(Read(), kMessageNoMemory);
  EXPECT_EQ(TakeLines(), Strings{kNoMemory});
}
