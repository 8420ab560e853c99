#include "toss/source_disposal.h"

#include "app/run_log.h"
#include "app/shown_text.h"
#include "base/path.h"
#include "platform/os.h"

namespace {

// An older file of that name makes room first. When the processed directory is the inbound directory itself, by
// whatever spelling or link, that "older file" is the source: it must not be removed. Neither must it when nobody can
// tell. A second name of the source may go: a run that was killed within a move can have left one.
int Move(const char* source, const char* target) {
  if (OsSameFile(source, target) != kOsDifferent) return -1;
  (void)OsRemove(target);
  return OsRename(source, target) == kOsOk ? 0 : -1;
}

}  // namespace

int MoveToProcessed(const char* source, const char* name, const char* processed_dir) {
  char target[1024];
  if (FormatPath(target, sizeof target, "%s/%s", processed_dir, name) != 0 || Move(source, target) != 0) {
    LogLine("  ERROR: processed but could not move to %s; source remains inbound", ShownPath(target).text);
    return -1;
  }
  LogLine("  moved to %s", ShownPath(target).text);
  return 0;
}

int DeleteProcessed(const char* source) {
  if (OsRemove(source) != kOsOk) {
    LogLine("  ERROR: processed but could not delete %s", ShownPath(source).text);
    return -1;
  }
  LogLine("  deleted (KEEPPROCESSED no)");
  return 0;
}
