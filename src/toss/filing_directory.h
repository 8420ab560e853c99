// A directory that a toss puts files into: processed sources, copies of bad packets.
#pragma once

#include "platform/os.h"

struct FilingDirectory {
  const char* path;
  OsTrust trust;
  OsDirectory directory = {};
  bool is_open = false;
};

// Opens it, unless it is open; the files of a run go where the first one went, whatever its name leads to later.
// Returns 0, or -1 when it is missing or not to be trusted.
int OpenFilingDirectory(FilingDirectory* filing);
