// Changes a site under the conditions of a run: with the run lock, and with nobody on the BBS. With its backup an
// interrupted change can be finished, and any change can be undone.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "app/config.h"
#include "app/run_lock.h"
#include "kit/backup.h"

// Holds the run lock, on an idle BBS, during its lifetime. It waits for both as a run does, and removes the lock of an
// interrupted run. Throws NotAnswered, with nothing changed, when another run is at work or a caller stays.
class QuietSite {
 public:
  explicit QuietSite(const TosserConfig& config);
  ~QuietSite();
  QuietSite(const QuietSite&) = delete;
  QuietSite& operator=(const QuietSite&) = delete;

  // Keeps the lock fresh: to be called at least once a minute. Throws NotAnswered when the lock was lost.
  void Keep();

  // Returns a sentence about the lock that was removed; empty when there was none.
  const std::string& RemovedLock() const { return removed_lock_; }

 private:
  std::string WaitForCallers(const TosserConfig& config);
  void RemoveAbandonedLock(const TosserConfig& config);

  RunLock lock_;
  std::string removed_lock_;
};

struct SiteChange {
  std::vector<std::string> texts;    // what was done, one sentence each
  std::vector<std::string> backups;  // directories, the oldest first; each changed file is in one of them
};

// Reads what it needs and adds the changes to be made, and sentences about them, to the backup (AddToBackup). It
// changes nothing itself.
using ChangePlan = std::function<void(Backup* backup)>;

// Finishes an interrupted change, then makes the planned one. Returns whether there was anything to change. Throws
// NotAnswered.
bool ChangeSite(const TosserConfig& config, QuietSite* quiet, const ChangePlan& plan, SiteChange* change);

// Undoes the change whose backup is in `directory`. Throws NotAnswered, with nothing changed, when a file is no
// longer as the change left it.
void UndoChange(const TosserConfig& config, const std::string& directory);
