// What another user can do who may write in the inbound directory only.
#ifndef _WIN32

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "toss/toss_run.h"
#include "unit/toss/toss_fixture.h"

namespace {

class Neighbour : public TossFixture {
 protected:
  void SetUp() override {
    TossFixture::SetUp();
    WriteFile(source_, Packet());
    WriteFile(other_, "the next mail");
  }

  static std::string Packet() {
    PacketMessage message;
    message.text = EchoText("GENERAL", "a", "Hello\r");
    return PacketBytes({message});
  }

  // The toss fails with that line, and the file that has the name of the source stays there.
  void ExpectStays(const std::string& line, const std::string& bytes) {
    EXPECT_EQ(RunToss(site_.config), 1);
    EXPECT_EQ(log_.CountOf(line), 1);
    EXPECT_EQ(CountIn(1), 1U);
    EXPECT_EQ(ReadFile(source_), bytes);
  }

  // Another file takes the name of the source.
  void Swap() const { std::filesystem::rename(other_, source_); }

  const std::string source_ = site_.In("a.pkt");
  const std::string other_ = site_.Root() + "/other";
  const std::string target_ = site_.Done("a.pkt");
  const std::string not_moved_ = "  ERROR: processed but could not move to " + target_ + "; source remains inbound";
  const std::string not_deleted_ = "  ERROR: processed but could not delete " + source_;
};

}  // namespace

TEST_F(Neighbour, AFileThatTakesTheNameOfASourceBeforeTheMoveIsKeptAndTheOlderOneToo) {
  WriteFile(target_, "older");
  door_.BeforeNth(Call::kRename, 1, [this] { Swap(); });
  ExpectStays(not_moved_, "the next mail");
  EXPECT_EQ(ReadFile(target_), "older");
}

TEST_F(Neighbour, AFileThatTakesTheNameOfASourceWhileAnOlderOneIsRemovedIsKept) {
  WriteFile(target_, "older");
  door_.BeforeNth(Call::kRename, 2, [this] { Swap(); });
  ExpectStays(not_moved_, "the next mail");
}

TEST_F(Neighbour, AFileThatTakesTheNameOfASourceBeforeItsDeletionIsKept) {
  site_.config.KeepProcessed = 0;
  door_.BeforeNth(
      Call::kRemove, 1, [this] { Swap(); }, "a.pkt");
  ExpectStays(not_deleted_, "the next mail");
}

TEST_F(Neighbour, ASourceThatHasGrownSinceItWasReadIsTossedAgain) {
  const std::string longer = Packet() + "more";
  for (const bool kept : {true, false}) {
    site_.config.KeepProcessed = kept ? 1 : 0;
    WriteFile(source_, Packet());
    door_.Clear();
    door_.BeforeNth(
        Call::kClose, 1, [&] { WriteFile(source_, longer); }, "a.pkt");
    ExpectStays(kept ? not_moved_ : not_deleted_, longer);
  }
}

TEST_F(Neighbour, APipeInPlaceOfASourceDoesNotHangTheRun) {
  const auto put_pipe = [this] {
    (void)unlink(source_.c_str());
    ASSERT_EQ(mkfifo(source_.c_str(), 0600), 0);
  };
  door_.BeforeNth(Call::kRename, 1, put_pipe);
  EXPECT_EQ(RunToss(site_.config), 1);
  EXPECT_EQ(log_.CountOf(not_moved_), 1);
  EXPECT_TRUE(std::filesystem::is_fifo(source_));
  RemoveFile(source_);
  WriteFile(source_, Packet());
  log_.Clear();
  door_.BeforeNth(Call::kOpen, 1, put_pipe, "a.pkt");
  EXPECT_EQ(RunToss(site_.config), 0);
  EXPECT_EQ(log_.CountOf("Could not read inbound file a.pkt; skipping"), 1);
}

TEST_F(Neighbour, ASavedPacketReplacesALinkOfItsNameAndNotWhatTheLinkLeadsTo) {
  WriteFile(source_, PacketHeaderBytes() + Word(2));
  MakeDirectory(bad_dir_);
  ASSERT_EQ(symlink(other_.c_str(), bad_file_.c_str()), 0);
  EXPECT_EQ(RunToss(site_.config), 0);
  EXPECT_EQ(ReadFile(other_), "the next mail");
  EXPECT_FALSE(std::filesystem::is_symlink(bad_file_));
  EXPECT_EQ(ReadFile(bad_file_), PacketHeaderBytes() + Word(2));
}

TEST_F(Neighbour, WhenALinkIsMadeAgainTheCopyIsNotSaved) {
  WriteFile(source_, PacketHeaderBytes() + Word(2));
  door_.BeforeNth(
      Call::kOpen, 1, [this] { ASSERT_EQ(symlink(other_.c_str(), bad_file_.c_str()), 0); }, ".PKT");
  EXPECT_EQ(RunToss(site_.config), 0);
  EXPECT_EQ(log_.CountOf("  ERROR: could not save bad packet for review (tried " + bad_file_ + ")"), 1);
  EXPECT_EQ(ReadFile(other_), "the next mail");
}

// Replaced by a link between two files of one run.
TEST_F(Neighbour, ADirectoryThatIsInUseIsNotLeftForALink) {
  site_.config.ProcessedDir[0] = '\0';
  WriteFile(site_.In("b.pkt"), Packet());
  const std::string elsewhere = site_.Root() + "/elsewhere";
  MakeDirectory(elsewhere);
  door_.BeforeNth(
      Call::kStat, 1,
      [&] {
        std::filesystem::rename(site_.In("processed"), site_.In("aside"));
        ASSERT_EQ(symlink(elsewhere.c_str(), site_.In("processed").c_str()), 0);
      },
      "b.pkt");
  EXPECT_EQ(RunToss(site_.config), 0);
  EXPECT_TRUE(std::filesystem::is_empty(elsewhere));
  EXPECT_EQ(ReadFile(site_.In("aside/b.pkt")), Packet());
}

#endif
