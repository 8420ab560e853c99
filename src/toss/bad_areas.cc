#include "toss/bad_areas.h"

#include <cstdio>

#include "app/run_log.h"
#include "platform/os.h"

void RecordBadArea(const MessageBase& base, const char* area) {
  BasePath path;
  if (FormatBaseFile(base, "BADAREAS.LST", &path) != 0) return;
  OsFile file;
  if (OsOpen(path, kOsAppendText, &file) != kOsOk) return;
  char line[128];
  const int length = snprintf(line, sizeof line, "%s  %s\n", TimeStamp(), area);
  if (static_cast<size_t>(length) < sizeof line) (void)OsWrite(file, line, static_cast<size_t>(length));
}
