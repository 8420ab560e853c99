// Changing a site, as a run works: under the run lock, with nobody on the BBS, and with a backup by which a change that
// was interrupted is finished and any change is taken back.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "app/config.h"
#include "app/run_lock.h"
#include "kit/backup.h"

// The run lock, and a BBS without callers, for as long as it lives. Both are waited for as a run does; the lock of a
// run that did not end is removed. Throws NotAnswered when another run is at work or a caller stays; nothing has been
// changed then.
class QuietSite {
 public:
  explicit QuietSite(const TosserConfig& config);
  ~QuietSite();
  QuietSite(const QuietSite&) = delete;
  QuietSite& operator=(const QuietSite&) = delete;

  // Keeps the lock fresh: to be called at least once a minute. Throws NotAnswered when the lock was lost.
  void Keep();

  // The sentence about the lock that was removed; empty when there was none.
  const std::string& RemovedLock() const { return removed_lock_; }

 private:
  std::string WaitForCallers(const TosserConfig& config);
  void RemoveAbandonedLock(const TosserConfig& config);

  RunLock lock_;
  std::string removed_lock_;
};

struct SiteChange {
  std::vector<std::string> texts;    // what was done, a sentence each
  std::vector<std::string> backups;  // their directories, the oldest first; a file that was changed is in one of them
};

// Reads what it needs and adds what is to be changed, with its sentences, to the backup (AddToBackup); changes nothing.
using ChangePlan = std::function<void(Backup* backup)>;

// Finishes a change that did not end, then makes the planned one. Returns whether the plan held anything. Throws
// NotAnswered.
bool ChangeSite(const TosserConfig& config, QuietSite* quiet, const ChangePlan& plan, SiteChange* change);

// Takes back what was changed with the backup in `directory`. Throws NotAnswered when a file is no longer as the change
// left it; nothing has been changed then.
void UndoChange(const TosserConfig& config, const std::string& directory);
