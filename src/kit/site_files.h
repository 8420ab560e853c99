// Examines the files of a site; none is kept open.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/byte_buffer.h"
#include "platform/os.h"

// Returns the names in a directory, sorted by their bytes; none when it does not exist. Throws NotAnswered when it
// cannot be read.
std::vector<std::string> ListNames(const std::string& directory);

struct FoundFile {
  bool exists = false;  // as a regular file
  OsStatus status;
};

// Returns what is at a path. A file whose status cannot be read counts as absent.
FoundFile LookAtFile(const std::string& path);

// Reads a regular file. Returns false when it no longer exists, cannot be read, or is larger than any run accepts.
bool ReadSiteFile(const std::string& path, ByteBuffer* content);
