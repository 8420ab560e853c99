#include "toss/filing_directory.h"

int OpenFilingDirectory(FilingDirectory* filing) {
  if (!filing->is_open) filing->is_open = OsOpenDirectory(filing->path, filing->trust, &filing->directory) == kOsOk;
  return filing->is_open ? 0 : -1;
}
