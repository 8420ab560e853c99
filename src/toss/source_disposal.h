// Moving or deleting an inbound file whose mail is stored.
#pragma once

#include "platform/os.h"
#include "toss/filing_directory.h"

// An inbound file that was read.
struct TossSource {
  const char* path;
  const char* name;
  OsIdentity identity;  // another file that has its name by now is neither moved nor deleted
};

// Moves the file to the processed directory, replacing an older file of that name. Returns 0, or -1 after logging why;
// the source is then still where it was.
int MoveToProcessed(const TossSource& source, FilingDirectory* processed);

// Deletes the file. Returns 0, or -1 after logging why.
int DeleteProcessed(const TossSource& source);
