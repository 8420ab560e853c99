// A copy of the program and of all that a run needs of a site, so that a run changes nothing of the site itself.
//
// The directories of the copy have unique names, which can be replaced by those of the configuration in the program's
// output. If two directories of the site are the same, they are the same in the copy.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "kit/kit_site.h"
#include "kit/rehearsal_place.h"

enum SiteDirectory { kInboundDirectory, kConfDirectory, kWorkDirectory, kMsgDirectory, kOutDirectory, kDoneDirectory };

struct CopiedDirectory {
  std::string site;   // the path in the configuration; empty for none
  std::string place;  // in the copy
};

struct SiteCopy {
  std::string root;
  std::string program;
  std::array<CopiedDirectory, 6> directories;
  std::vector<std::string> inbound;    // the names of the files in INBOUND
  std::vector<std::string> unsettled;  // what changed while it was being copied

  // Returns the path of a directory in the copy; empty when the configuration has none.
  std::string Path(SiteDirectory directory) const;

  // Returns the path in the site of a file of the copy.
  std::string SitePath(SiteDirectory directory, const std::string& name) const;

  // Returns a line of the program with the copy's directories replaced by the site's.
  std::string TellLine(std::string line) const;
};

enum class RehearsedRun { kToss, kScan };

// The headers in a PTR file that a scan would export: their records, and the sizes of their texts in bytes.
struct UnsentHeaders {
  int64_t headers = 0;  // all of them
  std::vector<int64_t> unsent;
  int64_t text_size = 0;
};

UnsentHeaders ReadUnsent(const std::string& ptr_path);

// Makes the copy, its configuration "CVTOSS32.CFG", and a node status without callers. Throws NotAnswered when there is
// not enough room, or when something cannot be read.
SiteCopy CopySite(const KitSite& site, RehearsedRun mode, const std::string& program, const RehearsalPlace& place);
