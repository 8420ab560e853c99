// A copy of all that a run needs of a site, and of the program: what is done there, the site never sees.
//
// The directories of the copy have names of their own, which stand for those of the configuration in what the program
// prints. What coincides in the site coincides in the copy.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "kit/kit_site.h"
#include "kit/rehearsal_place.h"

enum SiteDirectory { kInboundDirectory, kConfDirectory, kWorkDirectory, kMsgDirectory, kOutDirectory, kDoneDirectory };

struct CopiedDirectory {
  std::string site;   // as the configuration has it; empty when it has none
  std::string place;  // in the copy
};

struct SiteCopy {
  std::string root;
  std::string program;
  std::array<CopiedDirectory, 6> directories;
  std::vector<std::string> inbound;    // the names of the files in INBOUND
  std::vector<std::string> unsettled;  // what did not hold still while it was copied

  // The path of a directory in the copy; empty when the configuration names none.
  std::string Path(SiteDirectory directory) const;

  // The path of a file of the site.
  std::string SitePath(SiteDirectory directory, const std::string& name) const;

  // A line of the program with the names of the site's directories in the place of the copy's.
  std::string TellLine(std::string line) const;
};

enum class RehearsedRun { kToss, kScan };

// The headers of a PTR file that a scan would send: their places in the file, and the bytes of their texts.
struct UnsentHeaders {
  int64_t headers = 0;  // all of them
  std::vector<int64_t> unsent;
  int64_t text_size = 0;
};

UnsentHeaders ReadUnsent(const std::string& ptr_path);

// Makes the copy, its configuration "CVTOSS32.CFG", and the idle nodes. Throws NotAnswered when there is no room for
// it, or when something cannot be read.
SiteCopy CopySite(const KitSite& site, RehearsedRun mode, const std::string& program, const RehearsalPlace& place);
