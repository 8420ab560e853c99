#include "toss/source_disposal.h"

#include "app/run_log.h"
#include "app/shown_text.h"
#include "app/site_paths.h"
#include "platform/os.h"

namespace {

// Removes an older file of that name first. When the processed directory is the inbound directory itself, however
// spelled or linked, that "older file" is the source and must not be removed; nor when this cannot be determined. A
// second name of the source may be removed: a run that was killed during a move can have left one.
int Move(const TossSource& source, const OsPlace& target) {
  if (OsSameFile(source.path, target) != kOsDifferent) return -1;
  OsResult moved = OsRename(source.path, target, &source.identity);
  if (moved == kOsExists) {
    (void)OsRemove(target);
    moved = OsRename(source.path, target, &source.identity);
  }
  return moved == kOsOk ? 0 : -1;
}

}  // namespace

int MoveToProcessed(const TossSource& source, FilingDirectory* processed) {
  LongPath target;
  if (FormatProcessedPath(processed->path, source.name, &target) != 0 || OpenFilingDirectory(processed) != 0 ||
      Move(source, {target.text, processed->directory.handle}) != 0) {
    LogLine("  ERROR: processed but could not move to %s; source remains inbound", ShownPath(target.text).text);
    return -1;
  }
  LogLine("  moved to %s", ShownPath(target.text).text);
  return 0;
}

int DeleteProcessed(const TossSource& source) {
  if (OsRemove(source.path, &source.identity) != kOsOk) {
    LogLine("  ERROR: processed but could not delete %s", ShownPath(source.path).text);
    return -1;
  }
  LogLine("  deleted (KEEPPROCESSED no)");
  return 0;
}
