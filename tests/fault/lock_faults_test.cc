// Taking and releasing the run lock while its calls fail one after the other.
#include <gtest/gtest.h>

#include "app/run_lock.h"
#include "fault/alarms.h"
#include "fault/fault_loop.h"
#include "fault/run_promises.h"
#include "unit/support/fake_clock.h"
#include "unit/support/test_files.h"

namespace {

constexpr char kLeft[] = "cvtoss32 1.05 Beta 5 mode=-scan pid=17 started=1763160000\n";
constexpr char kOwn[] = "cvtoss32 1.05 Beta 5 mode=-toss pid=4120 started=1763166684\n";

constexpr int64_t kFreshAge = 60;
constexpr int64_t kStaleAge = 1800;

enum class FoundLock { kNone, kFresh, kStale };

// A lock is held only while its file is whole and registered; it is never another run's.
bool PlayLock(FoundLock found, const Fault& fault) {
  const Site site;
  FakeClock clock;
  const FakeProcess process(site.ProgramFile());
  const CapturedLog log;
  ScopedDoor door;
  if (found != FoundLock::kNone) {
    WriteFile(site.LockFile(), kLeft);
    SetModifiedAt(site.LockFile(), clock.now - (found == FoundLock::kFresh ? kFreshAge : kStaleAge));
  }
  door.Fail(fault);
  RunLock lock;
  const bool held = AcquireRunLock(site.config.MsgDir, "-toss", &lock);
  EXPECT_EQ(door.OpenHandles(), 0);
  EXPECT_EQ(process.break_file, held ? site.LockFile() : "");
  if (held) {
    EXPECT_EQ(ReadFile(site.LockFile()), kOwn);
    EXPECT_NE(found, FoundLock::kFresh);
    ReleaseRunLock(&lock);
    const bool removed = !PathExists(site.LockFile());
    EXPECT_EQ(process.break_file, removed ? "" : site.LockFile());
  } else if (found == FoundLock::kFresh) {
    EXPECT_EQ(ReadFile(site.LockFile()), kLeft);
  }
  const bool struck = door.HasStruck();
  (void)ExpectAlarmsOf(SiteMap(site).StepsFrom(0, door), LinesOf(log, site), site);

  // Thirty minutes later, without faults, any run gets the lock.
  door.Clear();
  if (PathExists(site.LockFile())) SetModifiedAt(site.LockFile(), clock.now - kStaleAge);
  EXPECT_TRUE(AcquireRunLock(site.config.MsgDir, "-toss", &lock));
  EXPECT_EQ(ReadFile(site.LockFile()), kOwn);
  ReleaseRunLock(&lock);
  EXPECT_FALSE(PathExists(site.LockFile()));
  EXPECT_EQ(process.break_file, "");
  return struck;
}

void TryLockFaults(FoundLock found, int more_than) {
  FaultLoop loop;
  loop.more_than = more_than;
  (void)TryFaults([found](const Fault& fault) { return PlayLock(found, fault); }, loop);
}

}  // namespace

TEST(LockFaults, TakingALockThatIsFree) { TryLockFaults(FoundLock::kNone, 10); }

TEST(LockFaults, FindingAFreshLock) { TryLockFaults(FoundLock::kFresh, 10); }

TEST(LockFaults, ClearingAStaleLock) { TryLockFaults(FoundLock::kStale, 20); }
