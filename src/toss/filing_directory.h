// A directory into which a toss puts files: processed sources, copies of damaged packets.
#pragma once

#include "platform/os.h"

struct FilingDirectory {
  const char* path;
  OsTrust trust;
  OsDirectory directory = {};
  bool is_open = false;
};

// Opens the directory unless it is open. It stays open to the end of the run, so that all files go into one directory
// even if its path is changed to a link. Returns 0, or -1 when it is missing or not trusted.
int OpenFilingDirectory(FilingDirectory* filing);
