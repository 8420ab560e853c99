#include "scan/publish.h"

#include "base/fixed_text.h"
#include "unit/support/site_fixture.h"

namespace {

class Publishing : public SiteFixture {
 protected:
  Publishing() { Refill(); }

  void Refill() {
    packet_.size = 0;
    EXPECT_EQ(AppendBytes(&packet_, "messages", 8), 0);
  }

  int Publish() { return PublishBundle({&site_.config, site_.config.MsgDir, &no_lock_}, 3, &packet_); }

  // Publishing fails with these lines, and nothing is there that was not there before.
  void ExpectFailure(const Strings& lines) {
    const auto before = site_.Files();
    EXPECT_EQ(Publish(), -1);
    EXPECT_EQ(TakeLines(), lines);
    EXPECT_EQ(site_.Files(), before);
  }

  static std::string Published(const std::string& path, const std::string& entry = "6917c9dc.pkt") {
    return "Published complete bundle: " + path + "  (68 byte packet, entry '" + entry + "', 3 message(s))";
  }

  const std::string packet_path_ = site_.Msg("CVOUTBOUND.PKT");
  const std::string bundle_path_ = site_.Out("6917c9dc.sa0");
  const std::string temporary_path_ = site_.Out("6917c9dc.sa0.tmp");
  const Strings no_packet_{"ERROR: could not write temp packet file " + packet_path_};
  const Strings no_read_back_{"ERROR: could not read back complete temp packet " + packet_path_};
  const Strings no_bundle_{"ERROR: could not write temporary bundle " + temporary_path_};
  const Strings no_rename_{"ERROR: could not atomically publish bundle " + bundle_path_};
  ByteBuffer packet_;
};

}  // namespace

TEST_F(Publishing, LeavesOneBundleAndNoTemporaryFile) {
  const auto before = site_.Files();
  ASSERT_EQ(Publish(), 0);
  EXPECT_EQ(TakeLines(), Strings{Published(bundle_path_)});
  auto after = site_.Files();
  const std::string bundle = after["out/6917c9dc.sa0"];
  EXPECT_EQ(bundle.size(), 30U + 12 + 68 + 46 + 12 + 22);
  EXPECT_EQ(bundle.substr(30, 12), "6917c9dc.pkt");
  EXPECT_EQ(bundle.substr(42 + 58, 10), std::string("messages\0\0", 10));
  after.erase("out/6917c9dc.sa0");
  EXPECT_EQ(after, before);
}

TEST_F(Publishing, TheMemoryOfThePacketIsGivenBack) {
  ASSERT_EQ(Publish(), 0);
  EXPECT_EQ(packet_.size, 0U);
  EXPECT_EQ(packet_.capacity, 0U);
}

TEST_F(Publishing, TheBundleGetsItsNameOnlyWhenItIsWhole) {
  bool there_early = true;
  std::string written;
  door_.BeforeNth(
      Call::kRename, 1,
      [&] {
        there_early = PathExists(bundle_path_);
        written = ReadFile(temporary_path_);
      },
      ".sa0");
  ASSERT_EQ(Publish(), 0);
  EXPECT_FALSE(there_early);
  EXPECT_EQ(ReadFile(bundle_path_), written);
}

TEST_F(Publishing, TheEntryIsNamedAfterATimeOfItsOwn) {
  door_.BeforeNth(
      Call::kRemove, 1, [this] { clock_.now += 1; }, ".tmp");  // after the bundle's name was chosen
  ASSERT_EQ(Publish(), 0);
  EXPECT_EQ(TakeLines(), Strings{Published(bundle_path_, "6917c9dd.pkt")});
  EXPECT_EQ(ReadFile(bundle_path_).substr(30, 12), "6917c9dd.pkt");
}

TEST_F(Publishing, PacketAndBundleHaveTheTimeAtWhichEachWasWritten) {
  door_.BeforeNth(
      Call::kRemove, 1, [this] { clock_.now += 3600; }, ".tmp");
  ASSERT_EQ(Publish(), 0);
  const std::string bundle = ReadFile(bundle_path_);
  EXPECT_EQ(ToHex(bundle.substr(10, 4)), "EC 0B 6F 5B");             // 01:31:24
  EXPECT_EQ(ToHex(bundle.substr(42 + 10, 6)), "00 00 1F 00 18 00");  // 00:31:24
}

TEST_F(Publishing, LeftOverTemporaryFilesAreReplaced) {
  WriteFile(packet_path_, std::string(5000, 'x'));
  WriteFile(temporary_path_, std::string(5000, 'x'));
  ASSERT_EQ(Publish(), 0);
  EXPECT_FALSE(PathExists(packet_path_));
  EXPECT_FALSE(PathExists(temporary_path_));
  EXPECT_EQ(ReadFile(bundle_path_).size(), 190U);
}

TEST_F(Publishing, APacketThatCannotBeWrittenIsReported) {
  const Call calls[] = {Call::kOpen, Call::kWrite, Call::kClose};
  for (const Call call : calls) {
    door_.Clear();
    door_.FailNth(call, 1, "CVOUTBOUND.PKT");
    ExpectFailure(no_packet_);
    EXPECT_TRUE(door_.HasStruck());
  }
  door_.Clear();
  clock_.fails = true;
  ExpectFailure(no_packet_);
}

TEST_F(Publishing, APacketThatCannotBeReadBackIsReportedAndRemoved) {
  struct Step {
    Call call;
    int nth;
  };
  for (const Step step : {Step{Call::kOpen, 2}, {Call::kSize, 1}, {Call::kReadAt, 1}, {Call::kClose, 2}}) {
    Refill();
    door_.Clear();
    door_.FailNth(step.call, step.nth, "CVOUTBOUND.PKT");
    ExpectFailure(no_read_back_);
    EXPECT_TRUE(door_.HasStruck());
  }
  Refill();
  door_.Clear();
  door_.FailNth(Call::kReallocate, 1);
  ExpectFailure(no_read_back_);
  EXPECT_TRUE(door_.HasStruck());
}

TEST_F(Publishing, APacketThatShrinksMeanwhileIsNotPublished) {
  door_.BeforeNth(
      Call::kReadAt, 1, [this] { WriteFile(packet_path_, "cut"); }, "CVOUTBOUND.PKT");
  ExpectFailure(no_read_back_);
}

TEST_F(Publishing, APacketFileThatCannotBeRemovedIsAWarningOnly) {
  door_.FailNth(Call::kRemove, 1, "CVOUTBOUND.PKT");
  ASSERT_EQ(Publish(), 0);
  EXPECT_EQ(TakeLines(), (Strings{"WARNING: could not remove temp packet " + packet_path_, Published(bundle_path_)}));
  EXPECT_TRUE(PathExists(packet_path_));
}

TEST_F(Publishing, ATemporaryBundleThatCannotBeWrittenIsReportedAndRemoved) {
  for (const Call call : {Call::kOpen, Call::kWrite, Call::kSyncFile, Call::kClose}) {
    Refill();
    door_.Clear();
    door_.FailNth(call, 1, ".tmp");
    ExpectFailure(no_bundle_);
    EXPECT_TRUE(door_.HasStruck());
  }
  Refill();
  door_.Clear();
  door_.BeforeNth(
      Call::kRemove, 1, [this] { clock_.fails = true; }, ".tmp");
  ExpectFailure(no_bundle_);
  EXPECT_TRUE(clock_.fails);
}

TEST_F(Publishing, AMissingOutdirIsReported) {
  CopyCut(site_.config.OutDir, (site_.Out("nowhere")).c_str());
  ExpectFailure({"ERROR: could not write temporary bundle " + site_.Out("nowhere/6917c9dc.sa0.tmp")});
}

TEST_F(Publishing, ABundleThatCannotBeRenamedIsReportedAndRemoved) {
  door_.FailNth(Call::kRename, 1);
  ExpectFailure(no_rename_);
}

TEST_F(Publishing, ANameThatIsTakenMeanwhileIsNotReplaced) {
  door_.BeforeNth(Call::kRename, 1, [this] { WriteFile(bundle_path_, "another's"); });
  EXPECT_EQ(Publish(), -1);
  EXPECT_EQ(TakeLines(), no_rename_);
  EXPECT_EQ(ReadFile(bundle_path_), "another's");
  EXPECT_FALSE(PathExists(temporary_path_));
}

TEST_F(Publishing, WhenAllNamesAreTakenTheOneWith9IsTriedAndNotReplaced) {
  for (const char c : std::string("0123456789abcdefghijklmnopqrstuvwxyz")) {
    WriteFile(site_.Out(std::string("6917c9dc.sa") + c), std::string("bundle ") + c);
  }
  ExpectFailure({"ERROR: could not atomically publish bundle " + site_.Out("6917c9dc.sa9")});
}
