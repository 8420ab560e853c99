// Files that an interrupted run has left: beside the message base, in OUTDIR, in INBOUND.
#pragma once

#include <string>
#include <vector>

#include "app/config.h"
#include "kit/inbound_mail.h"
#include "kit/outbound_mail.h"

struct Leftover {
  const char* code;
  std::string path;
  std::string text;  // the sentence of its finding
};

// Must not be called while a run is at work: the files would be its own.
std::vector<Leftover> FindLeftovers(const TosserConfig& config, const InboundMail& inbound,
                                    const OutboundMail& outbound);

// Returns the directory of processed files; empty when there is none.
std::string ProcessedDirectory(const TosserConfig& config);
