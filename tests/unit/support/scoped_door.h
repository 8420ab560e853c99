// The door to the system with a doorman: counts the calls, fails the ones it is told to, and puts everything back.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "platform/os.h"

enum class Call {
  kOpen,
  kSize,
  kReadAt,
  kWriteAt,
  kWrite,
  kFlush,
  kSetSize,
  kClose,
  kStat,
  kSameFile,
  kRemove,
  kRemoveUnchanged,
  kRename,
  kMakeDirectory,
  kListOpen,
  kListNext,
  kAllocate,
  kReallocate,
  kAny,  // whichever of them comes
};

struct Fault {
  Call call = Call::kAny;
  int nth = 1;                  // 1 = the first matching call from the moment the fault is set
  bool for_good = false;        // every later matching call fails as well
  bool is_short = false;        // ReadAt, WriteAt, Write: moves half of the bytes, rounded down, instead of failing
  OsResult answer = kOsFailed;  // of calls that answer with a result; kOsUnseekable makes WriteAt say so
  std::string path_end;         // only calls on paths with this end (handles and lists count as the path they were
                                // opened with); empty: all calls
};

// While it lives, every call of the kinds above goes through it to the table that was in force before. A call that
// fails does nothing, but Close, which closes first. At the end the earlier table is back, so doors, clocks and logs
// may be nested as scopes are.
class ScopedDoor {
 public:
  ScopedDoor();
  ScopedDoor(const ScopedDoor&) = delete;
  ScopedDoor& operator=(const ScopedDoor&) = delete;
  ~ScopedDoor();

  // Sets one more fault.
  void Fail(const Fault& fault);
  void FailNth(Call call, int nth, const std::string& path_end = "");
  void FailFrom(Call call, int nth, const std::string& path_end = "");  // that call and all later ones

  // Runs `action` just before the nth matching call from now on: what another process may do meanwhile.
  void BeforeNth(Call call, int nth, std::function<void()> action, const std::string& path_end = "");

  // Removes all faults and actions; the counts stay.
  void Clear();

  // Whether any fault has struck since it was set. A loop "fail the Nth call" ends when none has.
  bool HasStruck() const { return struck_ != 0; }

  // The same of the fault that was set last, for a loop over a scene in which others strike as well.
  bool LastHasStruck() const { return !rules_.empty() && rules_.back().has_struck; }

  // The calls since the start, failed ones included.
  int Count(Call call, const std::string& path_end = "") const;

  // How many files and lists are open that were opened through this door.
  int OpenHandles() const;

  // For the replaced entries.
  struct Verdict {
    bool fails = false;
    bool is_short = false;
    OsResult answer = kOsFailed;
  };
  Verdict Judge(Call call, const std::string& path);

 private:
  struct Rule {
    Fault fault;
    std::function<void()> action;
    int seen = 0;
    bool has_struck = false;
  };
  struct Seen {
    Call call;
    std::string path;
  };

  OsTable before_;
  std::vector<Rule> rules_;
  std::vector<Seen> calls_;
  int struck_ = 0;
};
