// A run that finds a lock.
#include "unit/app/run_lock_fixture.h"

namespace {

constexpr char kStale30[] = "Found a stale lock file (30 minutes old) -- clearing it";

class RunLockFound : public RunLockFixture {};

}  // namespace

TEST_F(RunLockFound, FreshLockBlocksAndNamesItsOwner) {
  LeaveLock(29 * 60);
  EXPECT_FALSE(Acquire());
  EXPECT_EQ(log_.Lines(), Strings{"Lock owner: cvtoss32 1.05 Beta 5 mode=-scan pid=17 started=1763160000"});
  EXPECT_EQ(ReadFile(path_), kOther);
  EXPECT_EQ(door_.OpenHandles(), 0);
  ExpectNotHeld();
}

TEST_F(RunLockFound, LockOf1799SecondsIsFresh) {
  LeaveLock(1799);
  EXPECT_FALSE(Acquire());
  EXPECT_EQ(log_.CountOfStart("Lock owner: "), 1);
  EXPECT_EQ(ReadFile(path_), kOther);
}

TEST_F(RunLockFound, LockOf30MinutesIsClearedAndTheRunGoesOn) {
  LeaveLock(1800);
  EXPECT_TRUE(Acquire());
  EXPECT_EQ(log_.Lines(), Strings{kStale30});
  EXPECT_EQ(ReadFile(path_), kOwnLine);
  EXPECT_EQ(process_.break_file, path_);
}

TEST_F(RunLockFound, TheAgeIsRoundedToWholeMinutes) {
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

TEST_F(RunLockFound, ALockFromTheFutureIsFresh) {
  LeaveLock(-3600);
  EXPECT_FALSE(Acquire());
  EXPECT_EQ(log_.CountOfStart("Lock owner: "), 1);
}

TEST_F(RunLockFound, EmptyFreshLockBlocksWithoutAnOwnerLine) {
  LeaveLock(60, "");
  EXPECT_FALSE(Acquire());
  EXPECT_EQ(log_.Lines(), Strings{});
  EXPECT_TRUE(PathExists(path_));
}

TEST_F(RunLockFound, AFreshLockThatCannotBeReadBlocksSilently) {
  LeaveLock(60);
  door_.FailNth(Call::kOpen, 2);
  EXPECT_FALSE(Acquire());
  EXPECT_TRUE(door_.HasStruck());
  EXPECT_EQ(log_.Lines(), Strings{});
}

TEST_F(RunLockFound, OnlyTheFirstLineOfTheOwnerIsShownWithoutItsLineEnd) {
  LeaveLock(60, "me \r\nyou\n");
  EXPECT_FALSE(Acquire());
  EXPECT_EQ(log_.Lines(), Strings{"Lock owner: me "});
  log_.Clear();
  LeaveLock(60, "\nyou\n");
  EXPECT_FALSE(Acquire());
  EXPECT_EQ(log_.Lines(), Strings{});
}

TEST_F(RunLockFound, AtMost191CharactersOfTheOwnerAreShown) {
  for (const size_t length : {191U, 192U, 500U}) {
    log_.Clear();
    LeaveLock(60, std::string(length, 'x'));
    EXPECT_FALSE(Acquire());
    EXPECT_EQ(log_.Lines(), Strings{"Lock owner: " + std::string(191, 'x')});
  }
}

// Clearing a stale one.

TEST_F(RunLockFound, AStaleLockThatCannotBeDeletedEndsTheAttemptWithoutAnotherLine) {
  LeaveLock(1800);
  door_.FailNth(Call::kRemoveUnchanged, 1);
  EXPECT_FALSE(Acquire());
  EXPECT_EQ(log_.Lines(), Strings{kStale30});
  EXPECT_EQ(ReadFile(path_), kOther);
  EXPECT_EQ(door_.Count(Call::kOpen), 1);
}

TEST_F(RunLockFound, AStaleLockThatIsGoneMeanwhileIsAsGoodAsDeleted) {
  LeaveLock(1800);
  door_.BeforeNth(Call::kRemoveUnchanged, 1, [&] { RemoveFile(path_); });
  EXPECT_TRUE(Acquire());
  EXPECT_EQ(log_.Lines(), Strings{kStale30});
  EXPECT_EQ(ReadFile(path_), kOwnLine);
}

TEST_F(RunLockFound, AStaleLockThatAnotherRunHasReplacedIsLeftToThatRun) {
  LeaveLock(1800, "old\n");
  door_.BeforeNth(Call::kRemoveUnchanged, 1, [&] { LeaveLock(1); });
  EXPECT_FALSE(Acquire());
  EXPECT_EQ(log_.Lines(), (Strings{kStale30, "Lock owner: cvtoss32 1.05 Beta 5 mode=-scan pid=17 started=1763160000"}));
  EXPECT_EQ(ReadFile(path_), kOther);
  ExpectNotHeld();
}

// The second attempt.

TEST_F(RunLockFound, ALockThatVanishesBeforeItIsLookedAtIsTakenByTheSecondAttempt) {
  LeaveLock(60);
  door_.BeforeNth(Call::kStat, 1, [&] { RemoveFile(path_); });
  EXPECT_TRUE(Acquire());
  EXPECT_EQ(log_.Lines(), Strings{});
  EXPECT_EQ(ReadFile(path_), kOwnLine);
}

TEST_F(RunLockFound, ALockThatCannotBeLookedAtIsTriedOnceMore) {
  LeaveLock(60);
  door_.FailNth(Call::kStat, 1);
  EXPECT_FALSE(Acquire());
  EXPECT_EQ(log_.CountOfStart("Lock owner: "), 1);
  EXPECT_EQ(door_.Count(Call::kStat), 2);
}

TEST_F(RunLockFound, ALockThatCanNeverBeLookedAtBlocksSilently) {
  LeaveLock(1800);
  door_.FailFrom(Call::kStat, 1);
  EXPECT_FALSE(Acquire());
  EXPECT_EQ(log_.Lines(), Strings{});
  EXPECT_EQ(door_.Count(Call::kOpen), 2);
  EXPECT_EQ(ReadFile(path_), kOther);
}

TEST_F(RunLockFound, AFailureToCreateAtTheSecondAttemptIsLogged) {
  LeaveLock(1800);
  door_.FailNth(Call::kOpen, 2);
  EXPECT_FALSE(Acquire());
  EXPECT_EQ(log_.Lines(), (Strings{kStale30, "ERROR: could not create lock " + path_ + ": errno=13"}));
  EXPECT_EQ(door_.Count(Call::kOpen), 2);
  ExpectNotHeld();
}

TEST_F(RunLockFound, ASecondFreshLockBlocksAndNamesItsOwner) {
  LeaveLock(1800, "old\n");
  door_.BeforeNth(Call::kOpen, 2, [&] { LeaveLock(1799); });
  EXPECT_FALSE(Acquire());
  EXPECT_EQ(log_.Lines(), (Strings{kStale30, "Lock owner: cvtoss32 1.05 Beta 5 mode=-scan pid=17 started=1763160000"}));
}

TEST_F(RunLockFound, ASecondStaleLockIsClearedButThereIsNoThirdAttempt) {
  LeaveLock(1800);
  door_.BeforeNth(Call::kOpen, 2, [&] { LeaveLock(1800); });
  EXPECT_FALSE(Acquire());
  EXPECT_EQ(log_.Lines(), (Strings{kStale30, kStale30}));
  EXPECT_FALSE(PathExists(path_));
  EXPECT_EQ(door_.Count(Call::kOpen), 2);
  ExpectNotHeld();
}

TEST_F(RunLockFound, WhetherTheSecondStaleLockCanBeDeletedDoesNotMatter) {
  LeaveLock(1800);
  door_.BeforeNth(Call::kOpen, 2, [&] { LeaveLock(1800); });
  door_.FailNth(Call::kRemoveUnchanged, 2);
  EXPECT_FALSE(Acquire());
  EXPECT_TRUE(door_.HasStruck());
  EXPECT_EQ(log_.Lines(), (Strings{kStale30, kStale30}));
  EXPECT_TRUE(PathExists(path_));
}
