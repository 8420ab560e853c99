// Keeping the run lock while a run waits or works, and releasing it.
#include "unit/app/run_lock_fixture.h"

namespace {

class RunLockKept : public RunLockFixture {};

}  // namespace

// Releasing it.

TEST_F(RunLockKept, ALockThatIsGoneAlreadyIsReleasedSilently) {
  ASSERT_TRUE(Acquire());
  RemoveFile(path_);
  ReleaseRunLock(&lock_);
  EXPECT_EQ(log_.Lines(), Strings{});
  EXPECT_EQ(process_.break_file, "");
}

TEST_F(RunLockKept, ALockThatCannotBeRemovedIsWarnedOfAndStaysRegistered) {
  ASSERT_TRUE(Acquire());
  door_.FailNth(Call::kRemove, 1);
  ReleaseRunLock(&lock_);
  EXPECT_EQ(log_.Lines(), Strings{"WARNING: could not remove lock file " + path_});
  EXPECT_EQ(process_.break_file, path_);
  EXPECT_TRUE(PathExists(path_));
  ReleaseRunLock(&lock_);
  EXPECT_EQ(process_.break_file, "");
}

TEST_F(RunLockKept, ReleasingWhatWasNeverTakenDoesNothing) {
  LeaveLock(60);
  RunLock none;
  ReleaseRunLock(&none);
  EXPECT_FALSE(Acquire());
  const int calls = door_.Count(Call::kAny);
  ReleaseRunLock(&lock_);
  EXPECT_EQ(door_.Count(Call::kAny), calls);
  EXPECT_EQ(ReadFile(path_), kOther);
}

TEST_F(RunLockKept, AnothersLockIsNotReleased) {
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

TEST_F(RunLockKept, ALockThatCannotBeReadIsNotRemovedButWarnedOf) {
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

TEST_F(RunLockKept, ARunAtWorkChecksItsLockEveryHalfMinuteAndUpdatesItsTime) {
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

TEST_F(RunLockKept, ATimeThatCannotBeSetDoesNotMatter) {
  ASSERT_TRUE(Acquire());
  clock_.now += 30;
  door_.FailNth(Call::kTouch, 1);
  EXPECT_TRUE(KeepRunLock(&lock_));
  EXPECT_TRUE(door_.HasStruck());
  clock_.now += 1500;
  EXPECT_TRUE(KeepRunLock(&lock_));
}

TEST_F(RunLockKept, ALockThatHasDisappearedIsTakenAgain) {
  ASSERT_TRUE(Acquire());
  RemoveFile(path_);
  clock_.now += 30;
  EXPECT_TRUE(KeepRunLock(&lock_));
  EXPECT_EQ(ReadFile(path_), kOwnLine);
  ReleaseRunLock(&lock_);
  EXPECT_FALSE(PathExists(path_));
  EXPECT_EQ(log_.Lines(), Strings{});
}

TEST_F(RunLockKept, AnothersLockMeansThatItIsLost) {
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

TEST_F(RunLockKept, ALockThatAnotherRunTakesAsSoonAsItDisappearsIsLost) {
  ASSERT_TRUE(Acquire());
  clock_.now += 30;
  RemoveFile(path_);
  door_.BeforeNth(Call::kOpen, 2, [&] { LeaveLock(0); });
  EXPECT_FALSE(KeepRunLock(&lock_));
  EXPECT_EQ(log_.Lines(), Strings{"ERROR: lost the run lock " + path_ + "; stopping"});
  EXPECT_EQ(ReadFile(path_), kOther);
}

// A machine that was suspended: another run may have cleared the lock, worked and ended, which the check cannot see.
TEST_F(RunLockKept, ALookThatComesAfterMoreThan25MinutesMeansThatItIsLost) {
  ASSERT_TRUE(Acquire());
  clock_.now += 1501;
  EXPECT_FALSE(KeepRunLock(&lock_));
  EXPECT_EQ(log_.Lines(), Strings{"ERROR: lost the run lock " + path_ + "; stopping"});
  EXPECT_EQ(ReadFile(path_), kOwnLine);
  ReleaseRunLock(&lock_);  // it was its own all the same
  EXPECT_FALSE(PathExists(path_));
}

TEST_F(RunLockKept, ALockThatCannotBeLookedAtIsLostAfter25Minutes) {
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

TEST_F(RunLockKept, ALockThatCannotBeTakenAgainIsLostAfter25Minutes) {
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

// Renewing it during the wait, before anything has been changed.

TEST_F(RunLockKept, AWaitingRunRenewsItsLock) {
  ASSERT_TRUE(Acquire());
  SetModifiedAt(path_, 1000000000);
  EXPECT_TRUE(RenewRunLock(&lock_));
  EXPECT_GT(ModifiedAt(path_), 1000000000);
  door_.FailNth(Call::kReadAt, 1);
  EXPECT_TRUE(RenewRunLock(&lock_));
  EXPECT_EQ(log_.Lines(), Strings{});
}

TEST_F(RunLockKept, AWaitingRunTakesALockThatIsGoneAsAtTheStart) {
  ASSERT_TRUE(Acquire());
  RemoveFile(path_);
  clock_.now += 10;
  EXPECT_TRUE(RenewRunLock(&lock_));
  EXPECT_EQ(ReadFile(path_), "cvtoss32 1.05 Beta 5 mode=-toss pid=4120 started=1763166694\n");
  EXPECT_EQ(process_.break_contents, ReadFile(path_));
}

TEST_F(RunLockKept, AWaitingRunThatFindsAnothersLockEndsAsAtTheStart) {
  ASSERT_TRUE(Acquire());
  LeaveLock(60);
  EXPECT_FALSE(RenewRunLock(&lock_));
  EXPECT_EQ(lock_.state, kLockRefused);
  EXPECT_EQ(log_.Lines(), Strings{"Lock owner: cvtoss32 1.05 Beta 5 mode=-scan pid=17 started=1763160000"});
  ExpectNotHeld();
  ReleaseRunLock(&lock_);
  EXPECT_EQ(ReadFile(path_), kOther);
}

TEST_F(RunLockKept, AWaitOfMoreThan25MinutesLosesTheLock) {
  ASSERT_TRUE(Acquire());
  clock_.now += 1501;
  EXPECT_FALSE(RenewRunLock(&lock_));
  EXPECT_EQ(lock_.state, kLockLost);
}
