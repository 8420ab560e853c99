// The site that cvkit looks at: its configuration and conferences, as cvtoss32 reads them.
#pragma once

#include <cstdint>
#include <string>

#include "app/config.h"
#include "app/site_paths.h"
#include "bbs/conference_table.h"

struct KitSite {
  TosserConfig config;
  ConferenceTable conferences;
  std::string log_path;       // of TOSSER.LOG, as LogBeside finds it
  std::string table_trouble;  // what of the table keeps every run from starting; empty for nothing

  MessageBase Base() const { return {config.MsgDir}; }

  // nullptr when there is no conference of that number.
  const ConferenceEntry* Find(int64_t conference) const;
};

// Loads the configuration and the conference table; throws NotAnswered when either cannot be read, or when the
// configuration names no CONFDIR or MSGDIR.
KitSite LoadKitSite(const std::string& config_path);

// The size and time of the files of some conferences: when they are unchanged, so was what was read in between.
std::string FileTimes(const KitSite& site, int32_t conference);
