// Files that cvkit writes to a path given by the user: never within the site, and over another file only with `force`.
#pragma once

#include <string>
#include <string_view>

#include "kit/kit_site.h"
#include "platform/os.h"

// Throws NotAnswered when `path`, which need not exist yet, is within a directory of the site, or when its directory
// does not exist.
void RequireOutside(const KitSite& site, const std::string& path);

// A new file that is being written; it is removed unless it is finished.
class OutputFile {
 public:
  // With `force`, an existing file is removed first. Throws NotAnswered when the path is within a directory of the
  // site, when the file exists already, or when it cannot be created.
  OutputFile(const KitSite& site, const std::string& path, bool force);
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  ~OutputFile();

  // Both throw NotAnswered when the file cannot be written.
  void Write(std::string_view content);
  void Finish();

 private:
  std::string path_;
  OsFile file_;
  bool finished_ = false;
};

// Writes a new file in one piece, as above.
void WriteOutputFile(const KitSite& site, const std::string& path, std::string_view content, bool force);

// Makes a file name that is safe on any system from a name that came with mail or in an archive: its last part, without
// separators, control bytes, device names and other characters with a meaning to a system.
std::string SafeName(std::string_view name);
