// A replacement of the platform's table that counts the calls and fails chosen ones.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "platform/os.h"

enum class Call {
  kOpen,
  kIdentify,
  kSize,
  kReadAt,
  kWriteAt,
  kWrite,
  kSetSize,
  kSyncFile,
  kSyncFiles,  // its path is the directory
  kSyncDirectory,
  kClose,
  kTouch,
  kStat,
  kSameFile,
  kRemove,
  kRemoveUnchanged,
  kRename,
  kMakeDirectory,
  kOpenDirectory,
  kListOpen,
  kListNext,
  kAllocate,
  kReallocate,
  kAny,  // whichever of them comes
};

struct Fault {
  Call call = Call::kAny;
  int nth = 1;                  // 1 = the first matching call from the moment the fault is set
  bool for_good = false;        // all later matching calls fail as well
  bool is_short = false;        // ReadAt, WriteAt, Write: moves half of the bytes, rounded down, instead of failing
  OsResult answer = kOsFailed;  // of calls that return an OsResult; with kOsUnseekable WriteAt returns kOsNoPositions
  std::string path_end;         // only calls on paths with this end (handles and lists count as the path they were
                                // opened with); empty: all calls
};

// One call that was made.
struct CallRecord {
  Call call = Call::kAny;
  std::string path;           // of a handle or a list, the path that it was opened with
  OsOpenMode mode = kOsRead;  // of Open, and of the calls on the handle that it returned
  bool struck = false;        // a fault made it fail
  size_t size = 0;            // bytes asked for: ReadAt, WriteAt, Write, Allocate, Reallocate
  int64_t answer = 0;         // as the table returns it; of memory 0 or -1
  int64_t found_size = 0;     // Stat: bytes of the file
  std::string items;          // SyncFiles: "A B C* ", where * marks the names of those that come last
};

// While it exists, every call of the kinds above goes through it to the table that was in force before. A call that
// fails does nothing, except that Close closes first. The destructor restores the earlier table, so that doors, clocks
// and logs may be nested.
class ScopedDoor {
 public:
  ScopedDoor();
  ScopedDoor(const ScopedDoor&) = delete;
  ScopedDoor& operator=(const ScopedDoor&) = delete;
  ~ScopedDoor();

  // Adds a fault.
  void Fail(const Fault& fault);
  void FailNth(Call call, int nth, const std::string& path_end = "");
  void FailFrom(Call call, int nth, const std::string& path_end = "");  // that call and all later ones

  // Runs `action` just before the nth matching call from now on, as another process might.
  void BeforeNth(Call call, int nth, std::function<void()> action, const std::string& path_end = "");

  // Removes all faults and actions; the counts stay.
  void Clear();

  // Whether any fault has made a call fail since it was set. A loop "fail the Nth call" ends when none has.
  bool HasStruck() const { return struck_ != 0; }

  // The same for the fault that was set last, for a loop over a scene that has faults of its own.
  bool LastHasStruck() const { return !rules_.empty() && rules_.back().has_struck; }

  // The calls since the start, failed ones included, in their order.
  const std::vector<CallRecord>& Calls() const { return calls_; }
  int Count(Call call, const std::string& path_end = "") const;

  // The items of each SyncFiles, in the order of the calls.
  std::vector<std::string> Synced() const;

  // How many files and lists are open that were opened through this door.
  int OpenHandles() const;

  // For the replaced entries.
  struct Verdict {
    bool fails = false;
    bool is_short = false;
    OsResult answer = kOsFailed;
    size_t record = 0;  // the index of the call in Calls()
  };
  Verdict Judge(Call call, std::string path, OsOpenMode mode = kOsRead, size_t size = 0);
  CallRecord& Record(const Verdict& verdict) { return calls_[verdict.record]; }

 private:
  struct Rule {
    Fault fault;
    std::function<void()> action;
    int seen = 0;
    bool has_struck = false;
  };
  OsTable before_;
  std::vector<Rule> rules_;
  std::vector<CallRecord> calls_;
  int struck_ = 0;
};
