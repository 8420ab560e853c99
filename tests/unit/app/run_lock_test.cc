// Taking the run lock.
#include "unit/app/run_lock_fixture.h"

namespace {

class RunLockTaken : public RunLockFixture {};

}  // namespace

TEST_F(RunLockTaken, IsTakenByWritingTheOwnerLine) {
  EXPECT_TRUE(Acquire());
  EXPECT_EQ(lock_.path.text, path_);
  EXPECT_EQ(ReadFile(path_), kOwnLine);
  EXPECT_EQ(log_.Lines(), Strings{});
  EXPECT_EQ(door_.Count(Call::kWrite), 1);
  EXPECT_EQ(door_.OpenHandles(), 0);
}

TEST_F(RunLockTaken, NamesTheModeThePidAndTheTime) {
  process_.id = 4294967295U;
  clock_.now = 2147483647;
  EXPECT_TRUE(Acquire("-scan"));
  EXPECT_EQ(ReadFile(path_), "cvtoss32 1.05 Beta 5 mode=-scan pid=4294967295 started=2147483647\n");
}

TEST_F(RunLockTaken, IsRegisteredForABreakOnlyOnceItIsComplete) {
  for (const Call call : {Call::kOpen, Call::kWrite, Call::kClose}) {
    door_.BeforeNth(call, 1, [&] { ExpectNotHeld(); });
  }
  EXPECT_TRUE(Acquire());
  EXPECT_EQ(process_.break_file, path_);
}

TEST_F(RunLockTaken, ReleaseRemovesTheFileAndThenForgetsIt) {
  ASSERT_TRUE(Acquire());
  door_.BeforeNth(Call::kRemove, 1, [&] { EXPECT_EQ(process_.break_file, path_); });
  ReleaseRunLock(&lock_);
  EXPECT_EQ(door_.Count(Call::kRemove), 1);
  EXPECT_FALSE(PathExists(path_));
  EXPECT_EQ(process_.break_file, "");
  EXPECT_EQ(log_.Lines(), Strings{});
}

TEST_F(RunLockTaken, CanBeTakenAgainAfterRelease) {
  ASSERT_TRUE(Acquire());
  ReleaseRunLock(&lock_);
  EXPECT_TRUE(Acquire("-scan"));
  EXPECT_EQ(process_.break_file, path_);
}

TEST_F(RunLockTaken, ASecondRunIsKeptOutByTheFirst) {
  ASSERT_TRUE(Acquire());
  SetModifiedAt(path_, clock_.now);
  RunLock second;
  EXPECT_FALSE(AcquireRunLock(directory_.Path().c_str(), "-scan", &second));
  EXPECT_EQ(log_.Lines(), Strings{"Lock owner: cvtoss32 1.05 Beta 5 mode=-toss pid=4120 started=1763166684"});
  EXPECT_EQ(ReadFile(path_), kOwnLine);
}

// The path.

TEST_F(RunLockTaken, APathOf511CharactersIsTried) {
  const std::string msg_dir(500, 'm');
  door_.FailNth(Call::kOpen, 1);
  EXPECT_FALSE(AcquireRunLock(msg_dir.c_str(), "-toss", &lock_));
  EXPECT_EQ(log_.Lines(), Strings{"ERROR: could not create lock " + msg_dir + "/CVTOSS.BSY: errno=13"});
}

TEST_F(RunLockTaken, APathOf512CharactersIsTooLong) {
  EXPECT_FALSE(AcquireRunLock(std::string(501, 'm').c_str(), "-toss", &lock_));
  EXPECT_EQ(log_.Lines(), Strings{"ERROR: MSGDIR path is too long to create CVTOSS.BSY"});
  EXPECT_EQ(door_.Count(Call::kAny), 0);
}

// Creating it.

TEST_F(RunLockTaken, AFailureToCreateIsLoggedWithItsErrorNumber) {
  EXPECT_FALSE(AcquireRunLock((directory_ / "none").c_str(), "-toss", &lock_));
  EXPECT_EQ(log_.Lines(), Strings{"ERROR: could not create lock " + (directory_ / "none") + "/CVTOSS.BSY: errno=2"});
  EXPECT_EQ(door_.Count(Call::kOpen), 1);
  ExpectNotHeld();
}

TEST_F(RunLockTaken, AnyFailureButExistingEndsTheAttempt) {
  door_.FailNth(Call::kOpen, 1);
  EXPECT_FALSE(Acquire());
  EXPECT_EQ(log_.Lines(), Strings{"ERROR: could not create lock " + path_ + ": errno=13"});
  EXPECT_EQ(door_.Count(Call::kAny), 1);
  EXPECT_FALSE(PathExists(path_));
}

// The owner line.

TEST_F(RunLockTaken, AnOwnerLineThatCannotBeWrittenWholeOrClosedLeavesNoLock) {
  Fault fails;
  fails.call = Call::kWrite;
  Fault cut = fails;
  cut.is_short = true;
  Fault close = fails;
  close.call = Call::kClose;
  for (const Fault& fault : {fails, cut, close}) {
    door_.Clear();
    door_.Fail(fault);
    EXPECT_FALSE(Acquire());
    EXPECT_TRUE(door_.HasStruck());
    EXPECT_FALSE(PathExists(path_));
    EXPECT_EQ(log_.Lines(), Strings{});
    EXPECT_EQ(door_.OpenHandles(), 0);
    ExpectNotHeld();
  }
}

TEST_F(RunLockTaken, AShortWriteIsNotContinued) {
  Fault cut;
  cut.call = Call::kWrite;
  cut.is_short = true;
  door_.Fail(cut);
  EXPECT_FALSE(Acquire());
  EXPECT_EQ(door_.Count(Call::kWrite), 1);
}

TEST_F(RunLockTaken, AnOwnerLineOf159CharactersFitsAndOneOf160LeavesNoLock) {
  const std::string around = "cvtoss32 1.05 Beta 5 mode= pid=4120 started=1763166684\n";
  const std::string mode(159 - around.size(), 'm');
  EXPECT_TRUE(Acquire(mode.c_str()));
  EXPECT_EQ(ReadFile(path_).size(), 159U);
  ReleaseRunLock(&lock_);
  EXPECT_FALSE(Acquire((mode + "m").c_str()));
  EXPECT_FALSE(PathExists(path_));
  EXPECT_EQ(log_.Lines(), Strings{});
  ExpectNotHeld();
}

TEST_F(RunLockTaken, EachSingleFaultLeavesNoLockOrAWholeOne) {
  for (int nth = 1;; ++nth) {
    door_.Clear();
    door_.FailNth(Call::kAny, nth);
    const bool held = Acquire();
    const bool struck = door_.HasStruck();
    door_.Clear();
    EXPECT_EQ(held, !struck) << nth;
    EXPECT_EQ(PathExists(path_), held) << nth;
    EXPECT_EQ(process_.break_file, held ? path_ : "") << nth;
    EXPECT_EQ(door_.OpenHandles(), 0) << nth;
    if (!struck) break;
    ASSERT_LT(nth, 100);
  }
}

// Reading its owner.

TEST_F(RunLockTaken, TheOwnerOfAFileThatIsNotThereIsEmpty) {
  char owner[192] = "old";
  ReadLockOwner(path_.c_str(), owner);
  EXPECT_STREQ(owner, "");
}

TEST_F(RunLockTaken, TheOwnerIsTheFirstLine) {
  WriteFile(path_, kOther);
  char owner[192];
  ReadLockOwner(path_.c_str(), owner);
  EXPECT_STREQ(owner, "cvtoss32 1.05 Beta 5 mode=-scan pid=17 started=1763160000");
}
