// What becomes of an inbound file that is done with.
#pragma once

#include "platform/os.h"
#include "toss/filing_directory.h"

// An inbound file that was read.
struct TossSource {
  const char* path;
  const char* name;
  OsIdentity identity;  // nothing else that has taken its name is moved or deleted
};

// Moves the file to the processed directory, replacing an older file of that name. Returns 0, or -1 after logging why;
// the source is then still where it was.
int MoveToProcessed(const TossSource& source, FilingDirectory* processed);

// Deletes the file. Returns 0, or -1 after logging why.
int DeleteProcessed(const TossSource& source);
