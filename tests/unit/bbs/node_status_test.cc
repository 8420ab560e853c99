#include "bbs/node_status.h"

#include "unit/support/site_fixture.h"

namespace {

class NodeFile : public SiteFixture {
 protected:
  NodeState Read(const std::string& bytes) {
    WriteFile(path_, bytes);
    const NodeState state = ReadNodeStatus(site_.Conf("WORK").c_str(), &status_);
    ReportNodeFault(status_);
    return state;
  }

  bool Wait() { return WaitForIdleNodes(site_.Conf("WORK").c_str(), &no_lock_); }

  void ExpectStatus(int32_t count, int32_t node, uint16_t user, uint8_t mode) const {
    EXPECT_EQ(status_.count, count);
    EXPECT_EQ(status_.node, node);
    EXPECT_EQ(status_.UserNo, user);
    EXPECT_EQ(status_.Mode, mode);
  }

  const std::string path_ = site_.NodeFile();
  NodeStatus status_;
};

using NodeWait = NodeFile;

constexpr char kUnable[] = "Aborting: unable to verify that Corvane nodes are free";
constexpr char kWaiting[] =
    "Node 2 is in use by UserNo 5 (Mode=0x0A) -- waiting 10 seconds and rechecking CVWHOSON.DAT...";

std::string Idle(size_t nodes) {
  std::string bytes;
  for (size_t i = 0; i < nodes; ++i) bytes += NodeBytes(65535);
  return bytes;
}

}  // namespace

TEST_F(NodeFile, AllIdleReturnsTheCount) {
  EXPECT_EQ(Read(FromHex("FF FF 00 00 00 00  FF FF 07 01 02 03")), kNodesIdle);
  ExpectStatus(2, 0, 65535, 0);
  EXPECT_EQ(TakeLines(), Strings{});
}

TEST_F(NodeFile, TheFirstBusyNodeIsReported) {
  EXPECT_EQ(Read(FromHex("FF FF 09 00 00 00  05 00 0A 00 00 00  01 00 FF 00 00 00")), kNodeBusy);
  ExpectStatus(3, 2, 5, 0x0A);
  EXPECT_EQ(TakeLines(), Strings{});
}

TEST_F(NodeFile, OnlyUser65535IsIdle) {
  for (const uint16_t user : std::initializer_list<uint16_t>{0, 1, 255, 65280, 32767, 32768, 65534}) {
    EXPECT_EQ(Read(NodeBytes(user, 0xFF)), kNodeBusy) << user;
    ExpectStatus(1, 1, user, 0xFF);
  }
  EXPECT_EQ(Read(NodeBytes(65535, 0xFF)), kNodesIdle);
}

TEST_F(NodeFile, ManyNodesAreReadToTheLast) {
  for (const size_t nodes : {255U, 256U, 257U, 1000U}) {
    EXPECT_EQ(Read(Idle(nodes)), kNodesIdle) << nodes;
    ExpectStatus(static_cast<int32_t>(nodes), 0, 65535, 0);
    EXPECT_EQ(Read(Idle(nodes) + NodeBytes(9, 3)), kNodeBusy) << nodes;
    ExpectStatus(static_cast<int32_t>(nodes) + 1, static_cast<int32_t>(nodes) + 1, 9, 3);
  }
}

TEST_F(NodeFile, TheSizeMustBeAPositiveMultipleOf6) {
  for (const size_t size : {0U, 1U, 5U, 7U, 11U, 13U}) {
    EXPECT_EQ(Read(std::string(size, '\xFF')), kNodesUnknown) << size;
    ExpectStatus(0, 0, 65535, 0);
    EXPECT_EQ(TakeLines(), Strings{"ERROR: " + path_ + " has an invalid size or could not be read"}) << size;
  }
  EXPECT_EQ(Read(std::string(6, '\xFF')), kNodesIdle);
}

TEST_F(NodeFile, APathOf511CharactersIsTriedAndOneOf512IsTooLong) {
  const std::string work_dir(498, 'w');
  EXPECT_EQ(ReadNodeStatus(work_dir.c_str(), &status_), kNodesUnknown);
  ReportNodeFault(status_);
  EXPECT_EQ(ReadNodeStatus((work_dir + "w").c_str(), &status_), kNodesUnknown);
  ReportNodeFault(status_);
  EXPECT_EQ(TakeLines(),
            (Strings{"ERROR: could not open " + work_dir + "/CVWHOSON.DAT to verify that all Corvane nodes are free",
                     "ERROR: WORKDIR path is too long to locate CVWHOSON.DAT"}));
  EXPECT_EQ(door_.Count(Call::kAny), 1);
}

TEST_F(NodeFile, AFailureLeavesTheDefaults) {
  status_.count = status_.node = 9;
  status_.UserNo = status_.Mode = 9;
  RemoveFile(path_);
  EXPECT_EQ(ReadNodeStatus(site_.Conf("WORK").c_str(), &status_), kNodesUnknown);
  ExpectStatus(0, 0, 65535, 0);
}

TEST_F(NodeFile, EachFailingCallHasItsLineButTheClose) {
  struct Case {
    Call call;
    Strings lines;
  };
  for (const Case& c :
       {Case{Call::kOpen, {"ERROR: could not open " + path_ + " to verify that all Corvane nodes are free"}},
        Case{Call::kSize, {"ERROR: could not seek " + path_}},
        Case{Call::kReadAt, {"ERROR: short read while checking " + path_}}, Case{Call::kClose, {}}}) {
    door_.Clear();
    door_.FailNth(c.call, 1);
    EXPECT_EQ(Read(Idle(2)), kNodesUnknown);
    EXPECT_EQ(TakeLines(), c.lines);
    EXPECT_EQ(door_.OpenHandles(), 0);
  }
}

TEST_F(NodeFile, AFileThatShrinksMeanwhileIsAShortRead) {
  door_.BeforeNth(Call::kReadAt, 1, [&] { WriteFile(path_, Idle(1) + "\xFF\xFF"); });
  EXPECT_EQ(Read(Idle(2)), kNodesUnknown);
  EXPECT_EQ(TakeLines(), Strings{"ERROR: short read while checking " + path_});
}

TEST_F(NodeFile, ABusyNodeBeforeAShortReadIsBusy) {
  door_.BeforeNth(Call::kReadAt, 1, [&] { WriteFile(path_, NodeBytes(4)); });
  EXPECT_EQ(Read(Idle(2)), kNodeBusy);
  ExpectStatus(2, 1, 4, 0);
  EXPECT_EQ(TakeLines(), Strings{});
}

// Waiting.

TEST_F(NodeWait, IdleNodesAreNotWaitedFor) {
  WriteFile(path_, Idle(2));
  EXPECT_TRUE(Wait());
  EXPECT_EQ(TakeLines(), Strings{"Node check: 2 node record(s), all idle"});
  EXPECT_TRUE(clock_.pauses.empty());
  EXPECT_EQ(door_.Count(Call::kOpen), 1);
}

TEST_F(NodeWait, ANodeBusyAtThe31stReadingEndsTheWaitWithoutAnotherPause) {
  WriteFile(path_, NodeBytes(65535) + NodeBytes(5, 0x0A));
  EXPECT_FALSE(Wait());
  Strings lines(30, kWaiting);
  lines.emplace_back("Aborting: node 2 remained in use by UserNo 5 (Mode=0x0A) for 5 minutes");
  EXPECT_EQ(TakeLines(), lines);
  EXPECT_EQ(clock_.pauses, std::vector<uint32_t>(30, 10000));
  EXPECT_EQ(door_.Count(Call::kOpen), 31);
  EXPECT_EQ(clock_.now, FakeClock::kStart + 300);
}

TEST_F(NodeWait, ANodeIdleAtThe31stReadingLetsTheRunGoOn) {
  WriteFile(path_, NodeBytes(65535) + NodeBytes(5, 0x0A));
  door_.BeforeNth(Call::kOpen, 31, [&] { WriteFile(path_, Idle(2)); });
  EXPECT_TRUE(Wait());
  Strings lines(30, kWaiting);
  lines.emplace_back("Node check: 2 node record(s), all idle");
  EXPECT_EQ(TakeLines(), lines);
}

TEST_F(NodeWait, EachReadingOpensTheFileAgainAndItIsClosedDuringThePause) {
  WriteFile(path_, NodeBytes(65535) + NodeBytes(65534, 0xAB));
  door_.BeforeNth(Call::kOpen, 2, [&] {
    EXPECT_EQ(door_.OpenHandles(), 0);
    WriteFile(path_, NodeBytes(32768) + NodeBytes(1));
  });
  door_.BeforeNth(Call::kOpen, 3, [&] { WriteFile(path_, Idle(1)); });
  EXPECT_TRUE(Wait());
  EXPECT_EQ(
      TakeLines(),
      (Strings{"Node 2 is in use by UserNo -2 (Mode=0xAB) -- waiting 10 seconds and rechecking CVWHOSON.DAT...",
               "Node 1 is in use by UserNo -32768 (Mode=0x00) -- waiting 10 seconds and rechecking CVWHOSON.DAT...",
               "Node check: 1 node record(s), all idle"}));
}

TEST_F(NodeWait, TheNumberOfAUserIsShownSigned) {
  WriteFile(path_, NodeBytes(32767, 0xFF));
  door_.BeforeNth(Call::kOpen, 2, [&] { WriteFile(path_, NodeBytes(0)); });
  EXPECT_FALSE(Wait());
  const Strings lines = TakeLines();
  EXPECT_EQ(lines.front(),
            "Node 1 is in use by UserNo 32767 (Mode=0xFF) -- waiting 10 seconds and rechecking CVWHOSON.DAT...");
  EXPECT_EQ(lines.back(), "Aborting: node 1 remained in use by UserNo 0 (Mode=0x00) for 5 minutes");
}

TEST_F(NodeWait, AFailureIsNotWaitedFor) {
  RemoveFile(path_);
  EXPECT_FALSE(Wait());
  EXPECT_EQ(TakeLines(),
            (Strings{"ERROR: could not open " + path_ + " to verify that all Corvane nodes are free", kUnable}));
  EXPECT_TRUE(clock_.pauses.empty());
}

TEST_F(NodeWait, AFailureDuringTheWaitEndsIt) {
  WriteFile(path_, NodeBytes(65535) + NodeBytes(5, 0x0A));
  door_.BeforeNth(Call::kOpen, 3, [&] { WriteFile(path_, ""); });
  EXPECT_FALSE(Wait());
  EXPECT_EQ(TakeLines(),
            (Strings{kWaiting, kWaiting, "ERROR: " + path_ + " has an invalid size or could not be read", kUnable}));
}

TEST_F(NodeWait, AFailedCloseAbortsWithoutALineOfItsOwn) {
  door_.FailNth(Call::kClose, 1);
  EXPECT_FALSE(Wait());
  EXPECT_EQ(TakeLines(), Strings{kUnable});
}
