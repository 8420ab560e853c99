// The mail in the bundles in OUTDIR: published, but not fetched yet.
#pragma once

#include <string>
#include <vector>

#include "app/config.h"

struct OutboundItem {
  size_t bundle = 0;  // index in OutboundMail::bundles
  bool netmail = false;
  std::string area;  // of echomail
  std::string msgid;
  std::string identity;  // as IdentityOfOutbound
};

struct OutboundMail {
  std::vector<std::string> bundles;      // paths, sorted by name
  std::vector<std::string> temporaries;  // paths of bundles that were never renamed to their final name
  std::vector<OutboundItem> items;       // in the order of the scans
};

// Reads every bundle of ours in OUTDIR. The result is empty when the configuration has no OUTDIR.
OutboundMail ReadOutboundMail(const TosserConfig& config);

// Returns the user's text as a scan packs it: CR line ends, none of them at the end, no bytes above 0x7F. `body` is as
// ReadMessageBody returns it.
std::string OutboundBody(std::string_view body);
