// Looking at the files of a site, one at a time and never for long.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/byte_buffer.h"
#include "platform/os.h"

// The names in a directory, sorted by their bytes; none when it is not there. Throws NotAnswered when it cannot be
// read.
std::vector<std::string> ListNames(const std::string& directory);

struct FoundFile {
  bool exists = false;  // as a regular file
  OsStatus status;
};

// What stands at a path. A file that cannot be told counts as absent.
FoundFile LookAtFile(const std::string& path);

// Reads a regular file. Returns false when it is not there any more, cannot be read, or is larger than any run takes.
bool ReadSiteFile(const std::string& path, ByteBuffer* content);
