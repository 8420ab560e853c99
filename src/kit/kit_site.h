// The site that cvkit examines: its configuration and conferences, as cvtoss32 reads them.
#pragma once

#include <cstdint>
#include <string>

#include "app/config.h"
#include "app/site_paths.h"
#include "bbs/conference_table.h"

struct KitSite {
  std::string config_path;  // as it was given
  TosserConfig config;
  ConferenceTable conferences;
  std::string log_path;       // of TOSSER.LOG, as LogBeside returns it
  std::string table_trouble;  // the error in the conference table that keeps every run from starting; empty for none

  MessageBase Base() const { return {config.MsgDir}; }

  // Returns nullptr when there is no conference with that number.
  const ConferenceEntry* Find(int64_t conference) const;
};

// Loads the configuration and the conference table. Throws NotAnswered when either cannot be read, or when the
// configuration has no CONFDIR or MSGDIR.
KitSite LoadKitSite(const std::string& config_path);

// Returns the sizes and times of a conference's files as a text. Two calls that return the same text mean that nothing
// changed between them.
std::string FileTimes(const KitSite& site, int32_t conference);
