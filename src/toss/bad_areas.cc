#include "toss/bad_areas.h"

#include <cstdio>

#include "app/run_log.h"
#include "base/path.h"
#include "platform/os.h"

void RecordBadArea(const char* msg_dir, const char* area) {
  Path path;
  if (FormatPath(path.text, sizeof path.text, "%s/BADAREAS.LST", msg_dir) != 0) return;
  OsFile file;
  if (OsOpen(path.text, kOsAppendText, &file) != kOsOk) return;
  char line[128];
  const int length = snprintf(line, sizeof line, "%s  %s\n", TimeStamp(), area);
  if (static_cast<size_t>(length) < sizeof line) (void)OsWrite(file, line, static_cast<size_t>(length));
}
