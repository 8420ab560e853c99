// Files that cvkit writes where it is told to: never into the site, and never over another file unasked.
#pragma once

#include <string>
#include <string_view>

#include "kit/kit_site.h"
#include "platform/os.h"

// Throws NotAnswered when what stands at `path`, or is to stand there, is within a directory of the site, or when there
// is no such directory.
void RequireOutside(const KitSite& site, const std::string& path);

// A new file that is being written; gone again unless it is finished.
class OutputFile {
 public:
  // With `force` a file that stands there goes first. Throws NotAnswered when the place is within a directory of the
  // site, when a file stands there already, or when it cannot be created.
  OutputFile(const KitSite& site, const std::string& path, bool force);
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  ~OutputFile();

  // Both throw NotAnswered when it cannot be written.
  void Write(std::string_view content);
  void Finish();

 private:
  std::string path_;
  OsFile file_;
  bool finished_ = false;
};

// Writes a new file in one piece, as above.
void WriteOutputFile(const KitSite& site, const std::string& path, std::string_view content, bool force);

// A name that is safe in any directory of any system, made from one that came with mail or in an archive: its last
// part, without separators, control bytes, device names and what else a system reads in a name.
std::string SafeName(std::string_view name);
