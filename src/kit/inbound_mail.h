// The mail that lies in INBOUND: what the next toss would store, and where.
//
// A toss moves a source away only when its mail is on the disk. So after a run that did not end, what is still inbound
// tells which messages of the base may be unfinished.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "app/config.h"
#include "base/byte_buffer.h"
#include "bbs/conference_table.h"
#include "kit/message_identity.h"

struct InboundItem {
  size_t source = 0;  // its place among the sources
  int32_t conference = 0;
  std::string msgid;  // as it came; empty for none
  Identity identity;
};

struct InboundSource {
  std::string name;
  int64_t size = 0;  // bytes
};

struct InboundMail {
  std::vector<InboundSource> sources;  // packets and bundles, in the order of their names
  std::vector<InboundItem> items;      // in the order in which a toss takes them; what has nowhere to go is left out
};

// Adds the mail of the file of that name, which holds these bytes; nothing when it is neither packet nor bundle.
void AddInboundFile(const std::string& name, const ByteBuffer& content, const ConferenceTable& table,
                    InboundMail* mail);

// Reads every packet and bundle in INBOUND; nothing when the configuration names none.
InboundMail ReadInboundMail(const TosserConfig& config, const ConferenceTable& table);
