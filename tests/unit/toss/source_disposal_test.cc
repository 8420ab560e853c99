#include "toss/source_disposal.h"

#include <cstring>
#include <filesystem>

#include "unit/toss/toss_fixture.h"

namespace {

class SourceDisposal : public TossFixture {
 protected:
  SourceDisposal() { WriteFile(source_, "packet"); }

  // As a run does it that has just read the file.
  TossSource Source(const char* name = "a.pkt") const {
    TossSource source = {source_.c_str(), name, {}};
    OsFile file;
    EXPECT_EQ(OsOpen(source_.c_str(), kOsRead, &file), kOsOk);
    EXPECT_EQ(OsIdentify(file, &source.identity), kOsOk);
    return source;
  }

  static int Move(const TossSource& source, const std::string& directory, OsTrust trust = kOsTrustPath) {
    FilingDirectory processed = {directory.c_str(), trust};
    return MoveToProcessed(source, &processed);
  }

  int Move(const std::string& directory) const { return Move(Source(), directory); }

  // The move fails with its line, and the source stays as it is.
  void ExpectNotMoved(const std::string& directory) {
    EXPECT_EQ(Move(directory), -1);
    EXPECT_EQ(TakeLines(),
              Strings{"  ERROR: processed but could not move to " + directory + "/a.pkt; source remains inbound"});
    EXPECT_EQ(ReadFile(source_), "packet");
  }

  const std::string source_ = site_.In("a.pkt");
  const std::string target_ = site_.Done("a.pkt");
};

}  // namespace

TEST_F(SourceDisposal, ASourceIsMoved) {
  EXPECT_EQ(Move(site_.Done()), 0);
  EXPECT_EQ(TakeLines(), Strings{"  moved to " + target_});
  EXPECT_FALSE(PathExists(source_));
  EXPECT_EQ(ReadFile(target_), "packet");
}

TEST_F(SourceDisposal, AnOlderFileOfThatNameIsReplaced) {
  WriteFile(target_, "an older packet");
  EXPECT_EQ(Move(site_.Done()), 0);
  EXPECT_EQ(ReadFile(target_), "packet");
}

TEST_F(SourceDisposal, AMissingDirectoryKeepsTheSource) { ExpectNotMoved(site_.Root() + "/none"); }

TEST_F(SourceDisposal, ADirectoryInTheWayKeepsTheSource) {
  MakeDirectory(target_);
  ExpectNotMoved(site_.Done());
}

TEST_F(SourceDisposal, TheProcessedDirectoryMayNotBeTheInboundDirectory) {
  ExpectNotMoved(site_.In());
  ExpectNotMoved(site_.Root() + "/in/../in");
  EXPECT_EQ(door_.Count(Call::kRemove), 0);
}

// A run that was killed during a move may have left the file under both names.
TEST_F(SourceDisposal, ASecondNameOfTheSourceMakesRoomForIt) {
  std::filesystem::create_hard_link(source_, target_);
  EXPECT_EQ(Move(site_.Done()), 0);
  EXPECT_EQ(TakeLines(), Strings{"  moved to " + target_});
  EXPECT_FALSE(PathExists(source_));
  EXPECT_EQ(ReadFile(target_), "packet");
}

TEST_F(SourceDisposal, AnOlderFileThatCannotBeRemovedKeepsTheSource) {
  WriteFile(target_, "an older packet");
  door_.FailNth(Call::kRemove, 1);
  ExpectNotMoved(site_.Done());
  EXPECT_EQ(ReadFile(target_), "an older packet");
}

TEST_F(SourceDisposal, ARenameOrAComparisonThatFailsKeepsTheSource) {
  for (const Call call : {Call::kOpenDirectory, Call::kSameFile, Call::kRename}) {
    WriteFile(target_, "an older packet");
    door_.Clear();
    door_.FailNth(call, 1);
    ExpectNotMoved(site_.Done());
  }
}

TEST_F(SourceDisposal, APathOf1023CharactersIsTriedAndOneOf1024IsNot) {
  const std::string directory(1023 - strlen("/a.pkt"), 'd');
  door_.FailFrom(Call::kOpenDirectory, 1);
  EXPECT_EQ(Move(directory), -1);
  EXPECT_EQ(door_.Count(Call::kOpenDirectory), 1);
  EXPECT_EQ(Move(directory + "d"), -1);
  EXPECT_EQ(door_.Count(Call::kOpenDirectory), 1);
  EXPECT_EQ(log_.CountOfStart("  ERROR: processed but could not move to "), 2);
}

TEST_F(SourceDisposal, ASourceIsDeleted) {
  EXPECT_EQ(DeleteProcessed(Source()), 0);
  EXPECT_EQ(TakeLines(), Strings{"  deleted (KEEPPROCESSED no)"});
  EXPECT_FALSE(PathExists(source_));
}

TEST_F(SourceDisposal, ASourceThatCannotBeDeletedStays) {
  door_.FailNth(Call::kRemove, 1);
  EXPECT_EQ(DeleteProcessed(Source()), -1);
  EXPECT_EQ(TakeLines(), Strings{"  ERROR: processed but could not delete " + source_});
  EXPECT_EQ(ReadFile(source_), "packet");
}

TEST_F(SourceDisposal, TheNameOfASourceForgesNoLine) {
  const std::string none = site_.Root() + "/none";
  EXPECT_EQ(Move(Source("a\r\n\x1B.pkt"), none), -1);
  EXPECT_EQ(DeleteProcessed({(none + "/a\b\x1A.pkt").c_str(), "", {}}), -1);
  EXPECT_EQ(TakeLines(),
            (Strings{"  ERROR: processed but could not move to " + none + "/a???.pkt; source remains inbound",
                     "  ERROR: processed but could not delete " + none + "/a??.pkt"}));
}
