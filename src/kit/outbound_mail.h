// The mail in the bundles that lie in OUTDIR: what has been published and not yet fetched.
#pragma once

#include <string>
#include <vector>

#include "app/config.h"

struct OutboundItem {
  size_t bundle = 0;  // its place among the bundles
  bool netmail = false;
  std::string area;  // of echomail
  std::string msgid;
  std::string identity;  // as IdentityOfOutbound
};

struct OutboundMail {
  std::vector<std::string> bundles;      // their paths, in the order of their names
  std::vector<std::string> temporaries;  // paths of bundles that never got their name
  std::vector<OutboundItem> items;       // in the order in which they were scanned
};

// Reads every bundle of ours in OUTDIR; nothing when the configuration names none.
OutboundMail ReadOutboundMail(const TosserConfig& config);

// The text of a user as a scan packs it: line ends CR, without the bytes above 0x7F, without line ends at its end.
// `body` is as ReadMessageBody returns it.
std::string OutboundBody(std::string_view body);
