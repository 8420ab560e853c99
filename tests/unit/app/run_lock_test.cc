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

class RunLockTest : public testing::Test {
 protected:
  // The registered path outlives a test; a release that may do its work clears it.
  ~RunLockTest() override {
    door_.Clear();
    ReleaseRunLock(&lock_);
  }

  TemporaryDirectory directory_;
  const std::string path_ = directory_ / "CVTOSS.BSY";
  FakeClock clock_;
  FakeProcess process_{directory_ / "cvtoss32"};
  CapturedLog log_;
  ScopedDoor door_;
  RunLock lock_;

  bool Acquire(const char* mode = "-toss") { return AcquireRunLock(directory_.Path().c_str(), mode, &lock_); }

  // Another run's lock, last modified `age` seconds ago.
  void LeaveLock(int64_t age, const std::string& content = kOther) {
    WriteFile(path_, content);
    SetModifiedAt(path_, clock_.now - age);
  }

  void ExpectNotHeld() { EXPECT_EQ(process_.break_file, ""); }
};

}  // namespace

TEST_F(RunLockTest, IsTakenByWritingTheOwnerLine) {
  EXPECT_TRUE(Acquire());
  EXPECT_EQ(lock_.path.text, path_);
  EXPECT_EQ(ReadFile(path_), kOwnLine);
  EXPECT_EQ(log_.Lines(), Strings{});
  EXPECT_EQ(door_.Count(Call::kWrite), 1);
  EXPECT_EQ(door_.OpenHandles(), 0);
}

TEST_F(RunLockTest, NamesTheModeThePidAndTheTime) {
  process_.id = 4294967295U;
  clock_.now = 2147483647;
  EXPECT_TRUE(Acquire("-scan"));
  EXPECT_EQ(ReadFile(path_), "cvtoss32 1.05 Beta 5 mode=-scan pid=4294967295 started=2147483647\n");
}

TEST_F(RunLockTest, IsRegisteredForABreakOnlyOnceItIsComplete) {
  for (const Call call : {Call::kOpen, Call::kWrite, Call::kClose}) {
    door_.BeforeNth(call, 1, [&] { ExpectNotHeld(); });
  }
  EXPECT_TRUE(Acquire());
  EXPECT_EQ(process_.break_file, path_);
}

TEST_F(RunLockTest, ReleaseRemovesTheFileAndThenForgetsIt) {
  ASSERT_TRUE(Acquire());
  door_.BeforeNth(Call::kRemove, 1, [&] { EXPECT_EQ(process_.break_file, path_); });
  ReleaseRunLock(&lock_);
  EXPECT_EQ(door_.Count(Call::kRemove), 1);
  EXPECT_FALSE(PathExists(path_));
  EXPECT_EQ(process_.break_file, "");
  EXPECT_EQ(log_.Lines(), Strings{});
}

TEST_F(RunLockTest, CanBeTakenAgainAfterRelease) {
  ASSERT_TRUE(Acquire());
  ReleaseRunLock(&lock_);
  EXPECT_TRUE(Acquire("-scan"));
  EXPECT_EQ(process_.break_file, path_);
}

TEST_F(RunLockTest, ASecondRunIsKeptOutByTheFirst) {
  ASSERT_TRUE(Acquire());
  SetModifiedAt(path_, clock_.now);
  RunLock second;
  EXPECT_FALSE(AcquireRunLock(directory_.Path().c_str(), "-scan", &second));
  EXPECT_EQ(log_.Lines(), Strings{"Lock owner: cvtoss32 1.05 Beta 5 mode=-toss pid=4120 started=1763166684"});
  EXPECT_EQ(ReadFile(path_), kOwnLine);
}

// The path.

TEST_F(RunLockTest, APathOf511CharactersIsTried) {
  const std::string msg_dir(500, 'm');
  door_.FailNth(Call::kOpen, 1);
  EXPECT_FALSE(AcquireRunLock(msg_dir.c_str(), "-toss", &lock_));
  EXPECT_EQ(log_.Lines(), Strings{"ERROR: could not create lock " + msg_dir + "/CVTOSS.BSY: errno=13"});
}

TEST_F(RunLockTest, APathOf512CharactersIsTooLong) {
  EXPECT_FALSE(AcquireRunLock(std::string(501, 'm').c_str(), "-toss", &lock_));
  EXPECT_EQ(log_.Lines(), Strings{"ERROR: MSGDIR path is too long to create CVTOSS.BSY"});
  EXPECT_EQ(door_.Count(Call::kAny), 0);
}

// Creating it.

TEST_F(RunLockTest, AFailureToCreateIsLoggedWithItsErrorNumber) {
  EXPECT_FALSE(AcquireRunLock((directory_ / "none").c_str(), "-toss", &lock_));
  EXPECT_EQ(log_.Lines(), Strings{"ERROR: could not create lock " + (directory_ / "none") + "/CVTOSS.BSY: errno=2"});
  EXPECT_EQ(door_.Count(Call::kOpen), 1);
  ExpectNotHeld();
}

TEST_F(RunLockTest, AnyFailureButExistingEndsTheAttempt) {
  door_.FailNth(Call::kOpen, 1);
  EXPECT_FALSE(Acquire());
  EXPECT_EQ(log_.Lines(), Strings{"ERROR: could not create lock " + path_ + ": errno=13"});
  EXPECT_EQ(door_.Count(Call::kAny), 1);
  EXPECT_FALSE(PathExists(path_));
}

// A lock that is there.

TEST_F(RunLockTest, FreshLockBlocksAndNamesItsOwner) {
  LeaveLock(29 * 60);
  EXPECT_FALSE(Acquire());
  EXPECT_EQ(log_.Lines(), Strings{"Lock owner: cvtoss32 1.05 Beta 5 mode=-scan pid=17 started=1763160000"});
  EXPECT_EQ(ReadFile(path_), kOther);
  EXPECT_EQ(door_.OpenHandles(), 0);
  ExpectNotHeld();
}

TEST_F(RunLockTest, LockOf1799SecondsIsFresh) {
  LeaveLock(1799);
  EXPECT_FALSE(Acquire());
  EXPECT_EQ(log_.CountOfStart("Lock owner: "), 1);
  EXPECT_EQ(ReadFile(path_), kOther);
}

TEST_F(RunLockTest, LockOf30MinutesIsClearedAndTheRunGoesOn) {
  LeaveLock(1800);
  EXPECT_TRUE(Acquire());
  EXPECT_EQ(log_.Lines(), Strings{kStale30});
  EXPECT_EQ(ReadFile(path_), kOwnLine);
  EXPECT_EQ(process_.break_file, path_);
}

TEST_F(RunLockTest, TheAgeIsRoundedToWholeMinutes) {
  LeaveLock(1829);
  EXPECT_TRUE(Acquire());
  ReleaseRunLock(&lock_);
  LeaveLock(1831);
  EXPECT_TRUE(Acquire());
  ReleaseRunLock(&lock_);
  LeaveLock(86400);
  EXPECT_TRUE(Acquire());
  EXPECT_EQ(log_.Lines(), (Strings{kStale30, "Found a stale lock file (31 minutes old) -- clearing it",
                                   "Found a stale lock file (1440 minutes old) -- clearing it"}));
}

TEST_F(RunLockTest, ALockFromTheFutureIsFresh) {
  LeaveLock(-3600);
  EXPECT_FALSE(Acquire());
  EXPECT_EQ(log_.CountOfStart("Lock owner: "), 1);
}

TEST_F(RunLockTest, EmptyFreshLockBlocksWithoutAnOwnerLine) {
  LeaveLock(60, "");
  EXPECT_FALSE(Acquire());
  EXPECT_EQ(log_.Lines(), Strings{});
  EXPECT_TRUE(PathExists(path_));
}

TEST_F(RunLockTest, AFreshLockThatCannotBeReadBlocksSilently) {
  LeaveLock(60);
  door_.FailNth(Call::kOpen, 2);
  EXPECT_FALSE(Acquire());
  EXPECT_TRUE(door_.HasStruck());
  EXPECT_EQ(log_.Lines(), Strings{});
}

TEST_F(RunLockTest, OnlyTheFirstLineOfTheOwnerIsShownWithoutItsLineEnd) {
  LeaveLock(60, "me \r\nyou\n");
  EXPECT_FALSE(Acquire());
  EXPECT_EQ(log_.Lines(), Strings{"Lock owner: me "});
  log_.Clear();
  LeaveLock(60, "\nyou\n");
  EXPECT_FALSE(Acquire());
  EXPECT_EQ(log_.Lines(), Strings{});
}

TEST_F(RunLockTest, AtMost191CharactersOfTheOwnerAreShown) {
  for (const size_t length : {191U, 192U, 500U}) {
    log_.Clear();
    LeaveLock(60, std::string(length, 'x'));
    EXPECT_FALSE(Acquire());
    EXPECT_EQ(log_.Lines(), Strings{"Lock owner: " + std::string(191, 'x')});
  }
}

// Clearing a stale one.

TEST_F(RunLockTest, AStaleLockThatCannotBeDeletedEndsTheAttemptWithoutAnotherWord) {
  LeaveLock(1800);
  door_.FailNth(Call::kRemoveUnchanged, 1);
  EXPECT_FALSE(Acquire());
  EXPECT_EQ(log_.Lines(), Strings{kStale30});
  EXPECT_EQ(ReadFile(path_), kOther);
  EXPECT_EQ(door_.Count(Call::kOpen), 1);
}

TEST_F(RunLockTest, AStaleLockThatIsGoneMeanwhileIsAsGoodAsDeleted) {
  LeaveLock(1800);
  door_.BeforeNth(Call::kRemoveUnchanged, 1, [&] { RemoveFile(path_); });
  EXPECT_TRUE(Acquire());
  EXPECT_EQ(log_.Lines(), Strings{kStale30});
  EXPECT_EQ(ReadFile(path_), kOwnLine);
}

TEST_F(RunLockTest, AStaleLockThatAnotherRunHasReplacedIsLeftToThatRun) {
  LeaveLock(1800, "old\n");
  door_.BeforeNth(Call::kRemoveUnchanged, 1, [&] { LeaveLock(1); });
  EXPECT_FALSE(Acquire());
  EXPECT_EQ(log_.Lines(), (Strings{kStale30, "Lock owner: cvtoss32 1.05 Beta 5 mode=-scan pid=17 started=1763160000"}));
  EXPECT_EQ(ReadFile(path_), kOther);
  ExpectNotHeld();
}

// The second attempt.

TEST_F(RunLockTest, ALockThatVanishesBeforeItIsLookedAtIsTakenByTheSecondAttempt) {
  LeaveLock(60);
  door_.BeforeNth(Call::kStat, 1, [&] { RemoveFile(path_); });
  EXPECT_TRUE(Acquire());
  EXPECT_EQ(log_.Lines(), Strings{});
  EXPECT_EQ(ReadFile(path_), kOwnLine);
}

TEST_F(RunLockTest, ALockThatCannotBeLookedAtIsTriedOnceMore) {
  LeaveLock(60);
  door_.FailNth(Call::kStat, 1);
  EXPECT_FALSE(Acquire());
  EXPECT_EQ(log_.CountOfStart("Lock owner: "), 1);
  EXPECT_EQ(door_.Count(Call::kStat), 2);
}

TEST_F(RunLockTest, ALockThatCanNeverBeLookedAtBlocksSilently) {
  LeaveLock(1800);
  door_.FailFrom(Call::kStat, 1);
  EXPECT_FALSE(Acquire());
  EXPECT_EQ(log_.Lines(), Strings{});
  EXPECT_EQ(door_.Count(Call::kOpen), 2);
  EXPECT_EQ(ReadFile(path_), kOther);
}

TEST_F(RunLockTest, AFailureToCreateAtTheSecondAttemptIsLogged) {
  LeaveLock(1800);
  door_.FailNth(Call::kOpen, 2);
  EXPECT_FALSE(Acquire());
  EXPECT_EQ(log_.Lines(), (Strings{kStale30, "ERROR: could not create lock " + path_ + ": errno=13"}));
  EXPECT_EQ(door_.Count(Call::kOpen), 2);
  ExpectNotHeld();
}

TEST_F(RunLockTest, ASecondFreshLockBlocksAndNamesItsOwner) {
  LeaveLock(1800, "old\n");
  door_.BeforeNth(Call::kOpen, 2, [&] { LeaveLock(1799); });
  EXPECT_FALSE(Acquire());
  EXPECT_EQ(log_.Lines(), (Strings{kStale30, "Lock owner: cvtoss32 1.05 Beta 5 mode=-scan pid=17 started=1763160000"}));
}

TEST_F(RunLockTest, ASecondStaleLockIsClearedButThereIsNoThirdAttempt) {
  LeaveLock(1800);
  door_.BeforeNth(Call::kOpen, 2, [&] { LeaveLock(1800); });
  EXPECT_FALSE(Acquire());
  EXPECT_EQ(log_.Lines(), (Strings{kStale30, kStale30}));
  EXPECT_FALSE(PathExists(path_));
  EXPECT_EQ(door_.Count(Call::kOpen), 2);
  ExpectNotHeld();
}

TEST_F(RunLockTest, WhetherTheSecondStaleLockCanBeDeletedDoesNotMatter) {
  LeaveLock(1800);
  door_.BeforeNth(Call::kOpen, 2, [&] { LeaveLock(1800); });
  door_.FailNth(Call::kRemoveUnchanged, 2);
  EXPECT_FALSE(Acquire());
  EXPECT_TRUE(door_.HasStruck());
  EXPECT_EQ(log_.Lines(), (Strings{kStale30, kStale30}));
  EXPECT_TRUE(PathExists(path_));
}

// The owner line.

TEST_F(RunLockTest, AnOwnerLineThatCannotBeWrittenWholeOrClosedLeavesNoLock) {
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

TEST_F(RunLockTest, AShortWriteIsNotContinued) {
  Fault cut;
  cut.call = Call::kWrite;
  cut.is_short = true;
  door_.Fail(cut);
  EXPECT_FALSE(Acquire());
  EXPECT_EQ(door_.Count(Call::kWrite), 1);
}

TEST_F(RunLockTest, AnOwnerLineOf159CharactersFitsAndOneOf160LeavesNoLock) {
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

TEST_F(RunLockTest, EachSingleFaultLeavesNoLockOrAWholeOne) {
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

// Releasing it.

TEST_F(RunLockTest, ALockThatIsGoneAlreadyIsReleasedSilently) {
  ASSERT_TRUE(Acquire());
  RemoveFile(path_);
  ReleaseRunLock(&lock_);
  EXPECT_EQ(log_.Lines(), Strings{});
  EXPECT_EQ(process_.break_file, "");
}

TEST_F(RunLockTest, ALockThatCannotBeRemovedIsWarnedOfAndStaysRegistered) {
  ASSERT_TRUE(Acquire());
  door_.FailNth(Call::kRemove, 1);
  ReleaseRunLock(&lock_);
  EXPECT_EQ(log_.Lines(), Strings{"WARNING: could not remove lock file " + path_});
  EXPECT_EQ(process_.break_file, path_);
  EXPECT_TRUE(PathExists(path_));
  ReleaseRunLock(&lock_);
  EXPECT_EQ(process_.break_file, "");
}

TEST_F(RunLockTest, ReleasingWhatWasNeverTakenDoesNothing) {
  LeaveLock(60);
  RunLock none;
  ReleaseRunLock(&none);
  EXPECT_FALSE(Acquire());
  const int calls = door_.Count(Call::kAny);
  ReleaseRunLock(&lock_);
  EXPECT_EQ(door_.Count(Call::kAny), calls);
  EXPECT_EQ(ReadFile(path_), kOther);
}

TEST_F(RunLockTest, AnothersLockIsNotReleased) {
  for (const char* const other : {kOther, "", "cvtoss32 1.05 Beta 5 mode=-toss pid=4120 started=1763166684\n\n"}) {
    ASSERT_TRUE(Acquire());
    LeaveLock(60, other);
    ReleaseRunLock(&lock_);
    EXPECT_EQ(ReadFile(path_), other);
    EXPECT_EQ(log_.Lines(), Strings{});
    EXPECT_EQ(process_.break_file, "");
    RemoveFile(path_);
  }
}

TEST_F(RunLockTest, ALockThatCannotBeReadIsNotRemovedButWarnedOf) {
  for (const Call call : {Call::kOpen, Call::kReadAt}) {
    ASSERT_TRUE(Acquire());
    door_.FailNth(call, 1);
    ReleaseRunLock(&lock_);
    door_.Clear();
    EXPECT_EQ(log_.Lines(), Strings{"WARNING: could not remove lock file " + path_});
    EXPECT_EQ(process_.break_file, path_);
    EXPECT_EQ(process_.break_contents, kOwnLine);
    EXPECT_EQ(door_.OpenHandles(), 0);
    ReleaseRunLock(&lock_);
    EXPECT_FALSE(PathExists(path_));
    log_.Clear();
  }
}

// Keeping it while the run is at work.

TEST_F(RunLockTest, ARunAtWorkLooksAtItsLockEveryHalfMinuteAndMakesItYoungAgain) {
  ASSERT_TRUE(Acquire());
  const int calls = door_.Count(Call::kAny);
  clock_.now += 29;
  EXPECT_TRUE(KeepRunLock(&lock_));
  EXPECT_EQ(door_.Count(Call::kAny), calls);
  for (int looks = 1; looks <= 3; ++looks) {
    SetModifiedAt(path_, 1000000000);
    clock_.now += looks == 1 ? 1 : 1500;
    EXPECT_TRUE(KeepRunLock(&lock_));
    EXPECT_EQ(door_.Count(Call::kTouch), looks);
    EXPECT_GT(ModifiedAt(path_), 1000000000);
    EXPECT_TRUE(KeepRunLock(&lock_));
    EXPECT_EQ(door_.Count(Call::kTouch), looks);
  }
  EXPECT_EQ(ReadFile(path_), kOwnLine);
  EXPECT_EQ(log_.Lines(), Strings{});
  EXPECT_EQ(door_.OpenHandles(), 0);
}

TEST_F(RunLockTest, ATimeThatCannotBeSetDoesNotMatter) {
  ASSERT_TRUE(Acquire());
  clock_.now += 30;
  door_.FailNth(Call::kTouch, 1);
  EXPECT_TRUE(KeepRunLock(&lock_));
  EXPECT_TRUE(door_.HasStruck());
  clock_.now += 1500;
  EXPECT_TRUE(KeepRunLock(&lock_));
}

TEST_F(RunLockTest, ALockThatIsGoneIsTakenAnew) {
  ASSERT_TRUE(Acquire());
  RemoveFile(path_);
  clock_.now += 30;
  EXPECT_TRUE(KeepRunLock(&lock_));
  EXPECT_EQ(ReadFile(path_), kOwnLine);
  ReleaseRunLock(&lock_);
  EXPECT_FALSE(PathExists(path_));
  EXPECT_EQ(log_.Lines(), Strings{});
}

TEST_F(RunLockTest, AnothersLockMeansThatItIsLost) {
  ASSERT_TRUE(Acquire());
  clock_.now += 30;
  LeaveLock(1);
  EXPECT_FALSE(KeepRunLock(&lock_));
  EXPECT_FALSE(KeepRunLock(&lock_));
  EXPECT_EQ(log_.Lines(), Strings{"ERROR: lost the run lock " + path_ + "; stopping"});
  ReleaseRunLock(&lock_);
  EXPECT_EQ(ReadFile(path_), kOther);
  EXPECT_EQ(process_.break_file, "");
}

TEST_F(RunLockTest, ALockThatAnotherRunTakesInTheMomentItIsGoneIsLost) {
  ASSERT_TRUE(Acquire());
  clock_.now += 30;
  RemoveFile(path_);
  door_.BeforeNth(Call::kOpen, 2, [&] { LeaveLock(0); });
  EXPECT_FALSE(KeepRunLock(&lock_));
  EXPECT_EQ(log_.Lines(), Strings{"ERROR: lost the run lock " + path_ + "; stopping"});
  EXPECT_EQ(ReadFile(path_), kOther);
}

// A machine that was suspended: another run may have cleared the lock, worked, and gone; the look would not show it.
TEST_F(RunLockTest, ALookThatComesAfterMoreThan25MinutesMeansThatItIsLost) {
  ASSERT_TRUE(Acquire());
  clock_.now += 1501;
  EXPECT_FALSE(KeepRunLock(&lock_));
  EXPECT_EQ(log_.Lines(), Strings{"ERROR: lost the run lock " + path_ + "; stopping"});
  EXPECT_EQ(ReadFile(path_), kOwnLine);
  ReleaseRunLock(&lock_);  // it was its own all the same
  EXPECT_FALSE(PathExists(path_));
}

TEST_F(RunLockTest, ALockThatCannotBeLookedAtIsLostAfter25Minutes) {
  ASSERT_TRUE(Acquire());
  door_.FailFrom(Call::kReadAt, 1);
  for (int look = 0; look < 50; ++look) {
    clock_.now += 30;
    EXPECT_TRUE(KeepRunLock(&lock_)) << look;
  }
  clock_.now += 1;
  EXPECT_FALSE(KeepRunLock(&lock_));
  door_.Clear();
}

TEST_F(RunLockTest, ALockThatCannotBeTakenAnewIsLostAfter25Minutes) {
  ASSERT_TRUE(Acquire());
  for (const Call call : {Call::kOpen, Call::kWrite, Call::kClose}) {
    RemoveFile(path_);
    clock_.now += 30;
    door_.FailNth(call, call == Call::kOpen ? 2 : 1);
    EXPECT_TRUE(KeepRunLock(&lock_));
    EXPECT_TRUE(door_.LastHasStruck());
    door_.Clear();
    EXPECT_FALSE(PathExists(path_));
  }
  clock_.now += 1411;  // the last look that succeeded is more than 25 minutes ago
  EXPECT_FALSE(KeepRunLock(&lock_));
}

// Renewing it during the wait, when nothing has been touched yet.

TEST_F(RunLockTest, AWaitingRunRenewsItsLock) {
  ASSERT_TRUE(Acquire());
  SetModifiedAt(path_, 1000000000);
  EXPECT_TRUE(RenewRunLock(&lock_));
  EXPECT_GT(ModifiedAt(path_), 1000000000);
  door_.FailNth(Call::kReadAt, 1);
  EXPECT_TRUE(RenewRunLock(&lock_));
  EXPECT_EQ(log_.Lines(), Strings{});
}

TEST_F(RunLockTest, AWaitingRunTakesALockThatIsGoneAsAtTheStart) {
  ASSERT_TRUE(Acquire());
  RemoveFile(path_);
  clock_.now += 10;
  EXPECT_TRUE(RenewRunLock(&lock_));
  EXPECT_EQ(ReadFile(path_), "cvtoss32 1.05 Beta 5 mode=-toss pid=4120 started=1763166694\n");
  EXPECT_EQ(process_.break_contents, ReadFile(path_));
}

TEST_F(RunLockTest, AWaitingRunThatFindsAnothersLockEndsAsAtTheStart) {
  ASSERT_TRUE(Acquire());
  LeaveLock(60);
  EXPECT_FALSE(RenewRunLock(&lock_));
  EXPECT_EQ(lock_.state, kLockRefused);
  EXPECT_EQ(log_.Lines(), Strings{"Lock owner: cvtoss32 1.05 Beta 5 mode=-scan pid=17 started=1763160000"});
  ExpectNotHeld();
  ReleaseRunLock(&lock_);
  EXPECT_EQ(ReadFile(path_), kOther);
}

TEST_F(RunLockTest, AWaitOfMoreThan25MinutesLosesTheLock) {
  ASSERT_TRUE(Acquire());
  clock_.now += 1501;
  EXPECT_FALSE(RenewRunLock(&lock_));
  EXPECT_EQ(lock_.state, kLockLost);
}

// Reading its owner.

TEST_F(RunLockTest, TheOwnerOfAFileThatIsNotThereIsEmpty) {
  char owner[192] = "old";
  ReadLockOwner(path_.c_str(), owner);
  EXPECT_STREQ(owner, "");
}

TEST_F(RunLockTest, TheOwnerIsTheFirstLine) {
  WriteFile(path_, kOther);
  char owner[192];
  ReadLockOwner(path_.c_str(), owner);
  EXPECT_STREQ(owner, "cvtoss32 1.05 Beta 5 mode=-scan pid=17 started=1763160000");
}
