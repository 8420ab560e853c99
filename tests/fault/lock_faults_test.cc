// Taking and giving back the run lock while every call fails in turn.
#include <gtest/gtest.h>

#include "app/run_lock.h"
#include "fault/fault_loop.h"
#include "fault/run_promises.h"
#include "unit/support/fake_clock.h"
#include "unit/support/test_files.h"

namespace {

constexpr char kStale[] = "cvtoss32 1.05 Beta 5 mode=-scan pid=17 started=1763160000\n";
constexpr char kOwn[] = "cvtoss32 1.05 Beta 5 mode=-toss pid=4120 started=1763166684\n";

// What another run left behind: nothing, or a lock of that age in seconds.
enum Found { kNothing = -1, kFreshLock = 60, kStaleLock = 1800 };

// A lock is held only while its file is whole and registered; it is never another run's.
bool PlayLock(Found found, const Fault& fault) {
  const Site site;
  FakeClock clock;
  const FakeProcess process(site.ProgramFile());
  const CapturedLog log;
  ScopedDoor door;
  if (found != kNothing) {
    WriteFile(site.LockFile(), kStale);
    SetModifiedAt(site.LockFile(), clock.now - found);
  }
  door.Fail(fault);
  Path lock;
  const bool held = AcquireRunLock(site.config.MsgDir, "-toss", &lock) == 1;
  EXPECT_EQ(door.OpenHandles(), 0);
  EXPECT_EQ(process.break_file, held ? site.LockFile() : "");
  if (held) {
    EXPECT_EQ(ReadFile(site.LockFile()), kOwn);
    EXPECT_NE(found, kFreshLock);
    ReleaseRunLock(lock);
    const bool removed = !PathExists(site.LockFile());
    EXPECT_EQ(HasLine(log.Lines(), "WARNING: could not remove lock file "), !removed);
    EXPECT_EQ(process.break_file, removed ? "" : site.LockFile());
  } else if (found == kFreshLock) {
    EXPECT_EQ(ReadFile(site.LockFile()), kStale);
  }
  const bool struck = door.HasStruck();

  // Thirty minutes later, without faults, any run gets the lock, unless it cannot even be told how old it is.
  door.Clear();
  if (PathExists(site.LockFile())) SetModifiedAt(site.LockFile(), clock.now - kStaleLock);
  EXPECT_EQ(AcquireRunLock(site.config.MsgDir, "-toss", &lock), 1);
  EXPECT_EQ(ReadFile(site.LockFile()), kOwn);
  ReleaseRunLock(lock);
  EXPECT_FALSE(PathExists(site.LockFile()));
  EXPECT_EQ(process.break_file, "");
  return struck;
}

void TryLockFaults(Found found, int more_than) {
  FaultLoop loop;
  loop.more_than = more_than;
  (void)TryFaults([found](const Fault& fault) { return PlayLock(found, fault); }, loop);
}

}  // namespace

TEST(LockFaults, TakingALockThatIsFree) { TryLockFaults(kNothing, 10); }

TEST(LockFaults, FindingAFreshLock) { TryLockFaults(kFreshLock, 10); }

TEST(LockFaults, ClearingAStaleLock) { TryLockFaults(kStaleLock, 20); }
