#include "fault/fault_loop.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

struct CallName {
  Call call;
  const char* name;
};

constexpr CallName kCalls[] = {
    {Call::kOpen, "Open"},
    {Call::kSize, "Size"},
    {Call::kIdentify, "Identify"},
    {Call::kReadAt, "ReadAt"},
    {Call::kWriteAt, "WriteAt"},
    {Call::kWrite, "Write"},

    {Call::kSetSize, "SetSize"},
    {Call::kClose, "Close"},
    {Call::kSyncFile, "SyncFile"},
    {Call::kSyncFiles, "SyncFiles"},
    {Call::kSyncDirectory, "SyncDirectory"},
    {Call::kTouch, "Touch"},
    {Call::kOpenDirectory, "OpenDirectory"},
    {Call::kStat, "Stat"},
    {Call::kSameFile, "SameFile"},
    {Call::kRemove, "Remove"},
    {Call::kRemoveUnchanged, "RemoveUnchanged"},
    {Call::kRename, "Rename"},
    {Call::kMakeDirectory, "MakeDirectory"},
    {Call::kListOpen, "ListOpen"},
    {Call::kListNext, "ListNext"},
    {Call::kAllocate, "Allocate"},
    {Call::kReallocate, "Reallocate"},
    {Call::kAny, "call"},
};

constexpr int kMostCalls = 10000;  // far more than any scene makes, so that the loop always ends

bool MovesBytes(Call call) { return call == Call::kReadAt || call == Call::kWriteAt || call == Call::kWrite; }

// Tries the fault at its 1st, 2nd, ... call. Returns how often it took effect.
int TryEach(Fault fault, const FaultAttempt& attempt) {
  for (fault.nth = 1; fault.nth < kMostCalls; ++fault.nth) {
    SCOPED_TRACE(Describe(fault));
    const bool struck = attempt(fault);
    if (!struck || testing::Test::HasFailure()) return fault.nth - (struck ? 0 : 1);
  }
  ADD_FAILURE() << "no end of calls: " << Describe(fault);
  return kMostCalls;
}

}  // namespace

FaultLoop MoreThan(int points) {
  FaultLoop loop;
  loop.more_than = points;
  return loop;
}

int TryFaults(const FaultAttempt& attempt, const FaultLoop& loop) {
  int points = 0;
  for (const CallName& kind : kCalls) {
    if (std::count(loop.except.begin(), loop.except.end(), kind.call) != 0) continue;
    Fault fault;
    fault.call = kind.call;
    fault.path_end = loop.path_end;
    if (kind.call != Call::kAny) points += TryEach(fault, attempt);  // one call of any kind is one of its own kind
    fault.for_good = true;
    if (kind.call != Call::kAny || loop.everything) points += TryEach(fault, attempt);
    if (!MovesBytes(kind.call)) continue;
    fault.is_short = true;
    points += TryEach(fault, attempt);
    fault.for_good = false;
    points += TryEach(fault, attempt);
  }
  EXPECT_GT(points, loop.more_than);
  CountFaultPoints(points);
  return points;
}

void CountFaultPoints(int points) {
  static const testing::TestInfo* counted = nullptr;
  static int total = 0;
  const testing::TestInfo* const running = testing::UnitTest::GetInstance()->current_test_info();
  if (running != counted) total = 0;
  counted = running;
  total += points;
  testing::Test::RecordProperty("fault_points", total);
}

std::string Describe(const Fault& fault) {
  std::string text = "call " + std::to_string(fault.nth) + " of kind ";
  for (const CallName& kind : kCalls) text += kind.call == fault.call ? kind.name : "";
  text += fault.is_short ? " is short" : " fails";
  if (fault.for_good) text += " for good";
  if (!fault.path_end.empty()) text += ", paths ending in " + fault.path_end;
  return text;
}
