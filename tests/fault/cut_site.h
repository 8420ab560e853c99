// A site whose power was cut: runs on it, what can be read of its message base, and what the guide says the operator
// does with it.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "fault/power_disk.h"
#include "unit/support/message_base.h"
#include "unit/support/scoped_door.h"
#include "unit/support/site.h"

constexpr int kCutConferences = 4;  // of every site
constexpr char kLockFile[] = "msg/CVTOSS.BSY";

struct DiskRun {
  int status = 0;
  std::vector<std::string> lines;
  SiteFiles files;  // at its end
};

// A run on the disk. `moments`, when given, get the disk before each call that changes it and at the end; `spoil`, when
// there is one, sets faults.
DiskRun RunOnDisk(const DiskState& start, const Site& site, int (*run)(const TosserConfig& config),
                  std::vector<DiskState>* moments = nullptr, const std::function<void(ScopedDoor*)>& spoil = nullptr);

// The bytes of a file; none of one that is not there.
std::string BytesIn(const SiteFiles& files, const std::string& path);

// "msg/CVMSG01.PTR"
std::string BaseFilePath(int conference, const std::string& kind);

// A header, with the text that it leads to and the MSGID of its SIG line, as far as they are there.
struct CutMessage : BaseMessage {
  bool has_index = false;  // an index entry of that number in its place
  bool is_sound = false;   // what it leads to is there, and was written
};
std::vector<CutMessage> MessagesAfterCut(const SiteFiles& files, int conference);

// Whether some SIG line has that MSGID, so that its mail counts as stored.
bool IsKnown(const SiteFiles& files, int conference, const std::string& msgid);

// Whether a preflight refuses the message base.
bool IsRefused(const SiteFiles& files);

// Cuts each conference back to its whole messages: headers from the first on that leads to no text or to one that was
// never written, index entries and texts beyond the headers, SIG lines that are not whole or have no header.
SiteFiles Mended(SiteFiles files);
