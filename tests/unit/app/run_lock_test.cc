#include "app/run_lock.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "unit/support/captured_log.h"
#include "unit/support/fake_clock.h"
#include "unit/support/fake_process.h"
#include "unit/support/scoped_door.h"
#include "unit/support/temporary_directory.h"
#include "unit/support/test_files.h"

namespace {

using Strings = std::vector<std::string>;

constexpr char kOwnLine[] = "cvtoss32 1.05 Beta 5 mode=-toss pid=4120 started=1763166684\n";
constexpr char kOther[] = "cvtoss32 1.05 Beta 5 mode=-scan pid=17 started=1763160000\n";
constexpr char kStale30[] = "Found a stale lock file (30 minutes old) -- clearing it";

class RunLock : public testing::Test {
 protected:
  // The registered path outlives a test; a release that may do its work clears it.
  ~RunLock() override {
    door_.Clear();
    ReleaseRunLock(lock_);
  }

  TemporaryDirectory directory_;
  const std::string path_ = directory_ / "CVTOSS.BSY";
  FakeClock clock_;
  FakeProcess process_{directory_ / "cvtoss32"};
  CapturedLog log_;
  ScopedDoor door_;
  Path lock_;

  int Acquire(const char* mode = "-toss") { return AcquireRunLock(directory_.Path().c_str(), mode, &lock_); }

  // Another run's lock, last modified `age` seconds ago.
  void LeaveLock(int64_t age, const std::string& content = kOther) {
    WriteFile(path_, content);
    SetModifiedAt(path_, clock_.now - age);
  }

  void ExpectNotHeld() { EXPECT_EQ(process_.break_file, ""); }
};

}  // namespace

TEST_F(RunLock, IsTakenByWritingTheOwnerLine) {
  EXPECT_EQ(Acquire(), 1);
  EXPECT_EQ(lock_.text, path_);
  EXPECT_EQ(ReadFile(path_), kOwnLine);
  EXPECT_EQ(log_.Lines(), Strings{});
  EXPECT_EQ(door_.Count(Call::kWrite), 1);
  EXPECT_EQ(door_.OpenHandles(), 0);
}

TEST_F(RunLock, NamesTheModeThePidAndTheTime) {
  process_.id = 4294967295U;
  clock_.now = 2147483647;
  EXPECT_EQ(Acquire("-scan"), 1);
  EXPECT_EQ(ReadFile(path_), "cvtoss32 1.05 Beta 5 mode=-scan pid=4294967295 started=2147483647\n");
}

TEST_F(RunLock, IsRegisteredForABreakOnlyOnceItIsComplete) {
  for (const Call call : {Call::kOpen, Call::kWrite, Call::kClose}) {
    door_.BeforeNth(call, 1, [&] { ExpectNotHeld(); });
  }
  EXPECT_EQ(Acquire(), 1);
  EXPECT_EQ(process_.break_file, path_);
}

TEST_F(RunLock, ReleaseRemovesTheFileAndThenForgetsIt) {
  ASSERT_EQ(Acquire(), 1);
  door_.BeforeNth(Call::kRemove, 1, [&] { EXPECT_EQ(process_.break_file, path_); });
  ReleaseRunLock(lock_);
  EXPECT_EQ(door_.Count(Call::kRemove), 1);
  EXPECT_FALSE(PathExists(path_));
  EXPECT_EQ(process_.break_file, "");
  EXPECT_EQ(log_.Lines(), Strings{});
}

TEST_F(RunLock, CanBeTakenAgainAfterRelease) {
  ASSERT_EQ(Acquire(), 1);
  ReleaseRunLock(lock_);
  EXPECT_EQ(Acquire("-scan"), 1);
  EXPECT_EQ(process_.break_file, path_);
}

TEST_F(RunLock, ASecondRunIsKeptOutByTheFirst) {
  ASSERT_EQ(Acquire(), 1);
  SetModifiedAt(path_, clock_.now);
  Path second;
  EXPECT_EQ(AcquireRunLock(directory_.Path().c_str(), "-scan", &second), 0);
  EXPECT_EQ(log_.Lines(), Strings{"Lock owner: cvtoss32 1.05 Beta 5 mode=-toss pid=4120 started=1763166684"});
  EXPECT_EQ(ReadFile(path_), kOwnLine);
}

// The path.

TEST_F(RunLock, APathOf511CharactersIsTried) {
  const std::string msg_dir(500, 'm');
  door_.FailNth(Call::kOpen, 1);
  EXPECT_EQ(AcquireRunLock(msg_dir.c_str(), "-toss", &lock_), 0);
  EXPECT_EQ(log_.Lines(), Strings{"ERROR: could not create lock " + msg_dir + "/CVTOSS.BSY: errno=13"});
}

TEST_F(RunLock, APathOf512CharactersIsTooLong) {
  EXPECT_EQ(AcquireRunLock(std::string(501, 'm').c_str(), "-toss", &lock_), 0);
  EXPECT_EQ(log_.Lines(), Strings{"ERROR: MSGDIR path is too long to create CVTOSS.BSY"});
  EXPECT_EQ(door_.Count(Call::kAny), 0);
}

// Creating it.

TEST_F(RunLock, AFailureToCreateIsLoggedWithItsErrorNumber) {
  EXPECT_EQ(AcquireRunLock((directory_ / "none").c_str(), "-toss", &lock_), 0);
  EXPECT_EQ(log_.Lines(), Strings{"ERROR: could not create lock " + (directory_ / "none") + "/CVTOSS.BSY: errno=2"});
  EXPECT_EQ(door_.Count(Call::kOpen), 1);
  ExpectNotHeld();
}

TEST_F(RunLock, AnyFailureButExistingEndsTheAttempt) {
  door_.FailNth(Call::kOpen, 1);
  EXPECT_EQ(Acquire(), 0);
  EXPECT_EQ(log_.Lines(), Strings{"ERROR: could not create lock " + path_ + ": errno=13"});
  EXPECT_EQ(door_.Count(Call::kAny), 1);
  EXPECT_FALSE(PathExists(path_));
}

// A lock that is there.

TEST_F(RunLock, FreshLockBlocksAndNamesItsOwner) {
  LeaveLock(29 * 60);
  EXPECT_EQ(Acquire(), 0);
  EXPECT_EQ(log_.Lines(), Strings{"Lock owner: cvtoss32 1.05 Beta 5 mode=-scan pid=17 started=1763160000"});
  EXPECT_EQ(ReadFile(path_), kOther);
  EXPECT_EQ(door_.OpenHandles(), 0);
  ExpectNotHeld();
}

TEST_F(RunLock, LockOf1799SecondsIsFresh) {
  LeaveLock(1799);
  EXPECT_EQ(Acquire(), 0);
  EXPECT_EQ(log_.CountOfStart("Lock owner: "), 1);
  EXPECT_EQ(ReadFile(path_), kOther);
}

TEST_F(RunLock, LockOf30MinutesIsClearedAndTheRunGoesOn) {
  LeaveLock(1800);
  EXPECT_EQ(Acquire(), 1);
  EXPECT_EQ(log_.Lines(), Strings{kStale30});
  EXPECT_EQ(ReadFile(path_), kOwnLine);
  EXPECT_EQ(process_.break_file, path_);
}

TEST_F(RunLock, TheAgeIsRoundedToWholeMinutes) {
  LeaveLock(1829);
  EXPECT_EQ(Acquire(), 1);
  ReleaseRunLock(lock_);
  LeaveLock(1831);
  EXPECT_EQ(Acquire(), 1);
  ReleaseRunLock(lock_);
  LeaveLock(86400);
  EXPECT_EQ(Acquire(), 1);
  EXPECT_EQ(log_.Lines(), (Strings{kStale30, "Found a stale lock file (31 minutes old) -- clearing it",
                                   "Found a stale lock file (1440 minutes old) -- clearing it"}));
}

TEST_F(RunLock, ALockFromTheFutureIsFresh) {
  LeaveLock(-3600);
  EXPECT_EQ(Acquire(), 0);
  EXPECT_EQ(log_.CountOfStart("Lock owner: "), 1);
}

TEST_F(RunLock, EmptyFreshLockBlocksWithoutAnOwnerLine) {
  LeaveLock(60, "");
  EXPECT_EQ(Acquire(), 0);
  EXPECT_EQ(log_.Lines(), Strings{});
  EXPECT_TRUE(PathExists(path_));
}

TEST_F(RunLock, AFreshLockThatCannotBeReadBlocksSilently) {
  LeaveLock(60);
  door_.FailNth(Call::kOpen, 2);
  EXPECT_EQ(Acquire(), 0);
  EXPECT_TRUE(door_.HasStruck());
  EXPECT_EQ(log_.Lines(), Strings{});
}

TEST_F(RunLock, OnlyTheFirstLineOfTheOwnerIsShownWithoutItsLineEnd) {
  LeaveLock(60, "me \r\nyou\n");
  EXPECT_EQ(Acquire(), 0);
  EXPECT_EQ(log_.Lines(), Strings{"Lock owner: me "});
  log_.Clear();
  LeaveLock(60, "\nyou\n");
  EXPECT_EQ(Acquire(), 0);
  EXPECT_EQ(log_.Lines(), Strings{});
}

TEST_F(RunLock, AtMost191CharactersOfTheOwnerAreShown) {
  for (const size_t length : {191U, 192U, 500U}) {
    log_.Clear();
    LeaveLock(60, std::string(length, 'x'));
    EXPECT_EQ(Acquire(), 0);
    EXPECT_EQ(log_.Lines(), Strings{"Lock owner: " + std::string(191, 'x')});
  }
}

// Clearing a stale one.

TEST_F(RunLock, AStaleLockThatCannotBeDeletedEndsTheAttemptWithoutAnotherWord) {
  LeaveLock(1800);
  door_.FailNth(Call::kRemoveUnchanged, 1);
  EXPECT_EQ(Acquire(), 0);
  EXPECT_EQ(log_.Lines(), Strings{kStale30});
  EXPECT_EQ(ReadFile(path_), kOther);
  EXPECT_EQ(door_.Count(Call::kOpen), 1);
}

TEST_F(RunLock, AStaleLockThatIsGoneMeanwhileIsAsGoodAsDeleted) {
  LeaveLock(1800);
  door_.BeforeNth(Call::kRemoveUnchanged, 1, [&] { RemoveFile(path_); });
  EXPECT_EQ(Acquire(), 1);
  EXPECT_EQ(log_.Lines(), Strings{kStale30});
  EXPECT_EQ(ReadFile(path_), kOwnLine);
}

TEST_F(RunLock, AStaleLockThatAnotherRunHasReplacedIsLeftToThatRun) {
  LeaveLock(1800, "old\n");
  door_.BeforeNth(Call::kRemoveUnchanged, 1, [&] { LeaveLock(1); });
  EXPECT_EQ(Acquire(), 0);
  EXPECT_EQ(log_.Lines(), (Strings{kStale30, "Lock owner: cvtoss32 1.05 Beta 5 mode=-scan pid=17 started=1763160000"}));
  EXPECT_EQ(ReadFile(path_), kOther);
  ExpectNotHeld();
}

// The second attempt.

TEST_F(RunLock, ALockThatVanishesBeforeItIsLookedAtIsTakenByTheSecondAttempt) {
  LeaveLock(60);
  door_.BeforeNth(Call::kStat, 1, [&] { RemoveFile(path_); });
  EXPECT_EQ(Acquire(), 1);
  EXPECT_EQ(log_.Lines(), Strings{});
  EXPECT_EQ(ReadFile(path_), kOwnLine);
}

TEST_F(RunLock, ALockThatCannotBeLookedAtIsTriedOnceMore) {
  LeaveLock(60);
  door_.FailNth(Call::kStat, 1);
  EXPECT_EQ(Acquire(), 0);
  EXPECT_EQ(log_.CountOfStart("Lock owner: "), 1);
  EXPECT_EQ(door_.Count(Call::kStat), 2);
}

TEST_F(RunLock, ALockThatCanNeverBeLookedAtBlocksSilently) {
  LeaveLock(1800);
  door_.FailFrom(Call::kStat, 1);
  EXPECT_EQ(Acquire(), 0);
  EXPECT_EQ(log_.Lines(), Strings{});
  EXPECT_EQ(door_.Count(Call::kOpen), 2);
  EXPECT_EQ(ReadFile(path_), kOther);
}

TEST_F(RunLock, AFailureToCreateAtTheSecondAttemptIsLogged) {
  LeaveLock(1800);
  door_.FailNth(Call::kOpen, 2);
  EXPECT_EQ(Acquire(), 0);
  EXPECT_EQ(log_.Lines(), (Strings{kStale30, "ERROR: could not create lock " + path_ + ": errno=13"}));
  EXPECT_EQ(door_.Count(Call::kOpen), 2);
  ExpectNotHeld();
}

TEST_F(RunLock, ASecondFreshLockBlocksAndNamesItsOwner) {
  LeaveLock(1800, "old\n");
  door_.BeforeNth(Call::kOpen, 2, [&] { LeaveLock(1799); });
  EXPECT_EQ(Acquire(), 0);
  EXPECT_EQ(log_.Lines(), (Strings{kStale30, "Lock owner: cvtoss32 1.05 Beta 5 mode=-scan pid=17 started=1763160000"}));
}

TEST_F(RunLock, ASecondStaleLockIsClearedButThereIsNoThirdAttempt) {
  LeaveLock(1800);
  door_.BeforeNth(Call::kOpen, 2, [&] { LeaveLock(1800); });
  EXPECT_EQ(Acquire(), 0);
  EXPECT_EQ(log_.Lines(), (Strings{kStale30, kStale30}));
  EXPECT_FALSE(PathExists(path_));
  EXPECT_EQ(door_.Count(Call::kOpen), 2);
  ExpectNotHeld();
}

TEST_F(RunLock, WhetherTheSecondStaleLockCanBeDeletedDoesNotMatter) {
  LeaveLock(1800);
  door_.BeforeNth(Call::kOpen, 2, [&] { LeaveLock(1800); });
  door_.FailNth(Call::kRemoveUnchanged, 2);
  EXPECT_EQ(Acquire(), 0);
  EXPECT_TRUE(door_.HasStruck());
  EXPECT_EQ(log_.Lines(), (Strings{kStale30, kStale30}));
  EXPECT_TRUE(PathExists(path_));
}

// The owner line.

TEST_F(RunLock, AnOwnerLineThatCannotBeWrittenWholeOrClosedLeavesNoLock) {
  Fault fails;
  fails.call = Call::kWrite;
  Fault cut = fails;
  cut.is_short = true;
  Fault close = fails;
  close.call = Call::kClose;
  for (const Fault& fault : {fails, cut, close}) {
    door_.Clear();
    door_.Fail(fault);
    EXPECT_EQ(Acquire(), 0);
    EXPECT_TRUE(door_.HasStruck());
    EXPECT_FALSE(PathExists(path_));
    EXPECT_EQ(log_.Lines(), Strings{});
    EXPECT_EQ(door_.OpenHandles(), 0);
    ExpectNotHeld();
  }
}

TEST_F(RunLock, AShortWriteIsNotContinued) {
  Fault cut;
  cut.call = Call::kWrite;
  cut.is_short = true;
  door_.Fail(cut);
  EXPECT_EQ(Acquire(), 0);
  EXPECT_EQ(door_.Count(Call::kWrite), 1);
}

TEST_F(RunLock, AnOwnerLineOf159CharactersFitsAndOneOf160LeavesNoLock) {
  const std::string around = "cvtoss32 1.05 Beta 5 mode= pid=4120 started=1763166684\n";
  const std::string mode(159 - around.size(), 'm');
  EXPECT_EQ(Acquire(mode.c_str()), 1);
  EXPECT_EQ(ReadFile(path_).size(), 159U);
  ReleaseRunLock(lock_);
  EXPECT_EQ(Acquire((mode + "m").c_str()), 0);
  EXPECT_FALSE(PathExists(path_));
  EXPECT_EQ(log_.Lines(), Strings{});
  ExpectNotHeld();
}

TEST_F(RunLock, EachSingleFaultLeavesNoLockOrAWholeOne) {
  for (int nth = 1;; ++nth) {
    door_.Clear();
    door_.FailNth(Call::kAny, nth);
    const int held = Acquire();
    const bool struck = door_.HasStruck();
    door_.Clear();
    EXPECT_EQ(held, struck ? 0 : 1) << nth;
    EXPECT_EQ(PathExists(path_), held == 1) << nth;
    EXPECT_EQ(process_.break_file, held == 1 ? path_ : "") << nth;
    EXPECT_EQ(door_.OpenHandles(), 0) << nth;
    if (!struck) break;
    ASSERT_LT(nth, 100);
  }
}

// Releasing it.

TEST_F(RunLock, ALockThatIsGoneAlreadyIsReleasedSilently) {
  ASSERT_EQ(Acquire(), 1);
  RemoveFile(path_);
  ReleaseRunLock(lock_);
  EXPECT_EQ(log_.Lines(), Strings{});
  EXPECT_EQ(process_.break_file, "");
}

TEST_F(RunLock, ALockThatCannotBeRemovedIsWarnedOfAndStaysRegistered) {
  ASSERT_EQ(Acquire(), 1);
  door_.FailNth(Call::kRemove, 1);
  ReleaseRunLock(lock_);
  EXPECT_EQ(log_.Lines(), Strings{"WARNING: could not remove lock file " + path_});
  EXPECT_EQ(process_.break_file, path_);
  EXPECT_TRUE(PathExists(path_));
  ReleaseRunLock(lock_);
  EXPECT_EQ(process_.break_file, "");
}

TEST_F(RunLock, ReleasingAnotherPathLeavesTheRegisteredOne) {
  ASSERT_EQ(Acquire(), 1);
  WriteFile(directory_ / "other", "");
  Path other;
  ASSERT_EQ(FormatPath(other.text, sizeof other.text, "%s/other", directory_.Path().c_str()), 0);
  ReleaseRunLock(other);
  EXPECT_FALSE(PathExists(directory_ / "other"));
  EXPECT_TRUE(PathExists(path_));
  EXPECT_EQ(process_.break_file, path_);
}

TEST_F(RunLock, ReleasingAnEmptyPathRemovesNothing) {
  ASSERT_EQ(Acquire(), 1);
  ReleaseRunLock(Path{});
  EXPECT_EQ(door_.Count(Call::kRemove), 0);
  EXPECT_EQ(process_.break_file, path_);
  EXPECT_EQ(log_.Lines(), Strings{});
}

// Reading its owner.

TEST_F(RunLock, TheOwnerOfAFileThatIsNotThereIsEmpty) {
  char owner[192] = "old";
  ReadLockOwner(path_.c_str(), owner);
  EXPECT_STREQ(owner, "");
}

TEST_F(RunLock, TheOwnerIsTheFirstLine) {
  WriteFile(path_, kOther);
  char owner[192];
  ReadLockOwner(path_.c_str(), owner);
  EXPECT_STREQ(owner, "cvtoss32 1.05 Beta 5 mode=-scan pid=17 started=1763160000");
}
