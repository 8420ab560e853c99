// Examines the files of a site; none is kept open.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/byte_buffer.h"
#include "platform/os.h"

constexpr int64_t kLargestSiteFile = 2147483647;  // bytes: no run takes a larger one

// Return the two parts of a path: its directory with the separator at the end, empty for the current directory, and the
// name in it.
std::string DirectoryPart(const std::string& path);
std::string NamePart(const std::string& path);

// Returns the directory of a path as it can be opened: "." for the current one, "/" for that of "/name", and
// likewise "C:\".
std::string DirectoryOf(const std::string& path);

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
