// A simulated disk that can lose its power: what has been synced is kept apart from what was only written.
//
// A program's calls change what it sees at once. On the disk a file's bytes and length are certain only when the file
// was synced, a name only when its directory was. Of everything else any part may have been written when the power
// fails.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "fault/run_promises.h"
#include "platform/os.h"

// Bytes put into a file, or a new length for it.
struct DiskWrite {
  size_t at = 0;  // the length, when there are no bytes
  std::string bytes;
};
void Apply(const DiskWrite& write, std::string* bytes);

// A file as the disk and as the program knows it.
struct DiskFile {
  std::string synced;
  std::vector<DiskWrite> writes;  // since then
  std::string now;
  int64_t modified = 0;
};

// Names of one directory that change together or not at all, each with the file that it leads to.
struct DiskNames {
  std::string directory;
  std::vector<std::pair<std::string, int>> names;
};
void Apply(const DiskNames& change, std::map<std::string, int>* names);

constexpr int kNoDiskFile = -1;     // the name goes
constexpr int kDiskDirectory = -2;  // the name is that of a directory

struct DiskState {
  std::vector<DiskFile> files;  // all that there ever were
  std::map<std::string, int> synced_names;
  std::vector<DiskNames> changes;  // since then
  std::map<std::string, int> names;

  DiskState() = default;
  // Everything is on the disk. `files` are paths below the site's directory.
  explicit DiskState(const SiteFiles& files);

  // The files as the program sees them.
  SiteFiles Seen() const;

  // Removes a file as an operator would by hand.
  void Remove(const std::string& path);
};

// While it exists, the files of the site at `root` are those of the disk.
class PowerDisk {
 public:
  // With `moments`, the disk before each call that changes something on it is added to them.
  PowerDisk(DiskState start, const std::string& root, std::vector<DiskState>* moments);
  PowerDisk(const PowerDisk&) = delete;
  PowerDisk& operator=(const PowerDisk&) = delete;
  ~PowerDisk();

  const DiskState& Now() const { return now_; }

  // For the replaced entries.
  DiskState& Change();
  std::string PathOf(const char* path) const;

 private:
  OsTable before_;
  std::string root_;
  DiskState now_;
  std::vector<DiskState>* moments_;
};
