// The text of an outbound message: kludges, body, tear line, origin and, for echomail, SEEN-BY and PATH (FTS-0004,
// FTS-0009, FTS-4008).
#pragma once

#include <cstdint>

#include "app/config.h"
#include "base/byte_buffer.h"
#include "scan/local_message.h"
#include "scan/scan_site.h"

constexpr size_t kMsgidSize = 64;  // 63 characters and the NUL

// The kludge values of one message.
struct OutboundKludges {
  char msgid[kMsgidSize] = {};
  char tzutc[16] = {};
  char reply[128] = {};  // the whole REPLY line with its CR, or empty
};

// Returns the MSGID, made of our address and the message's serial, the present offset from UTC, and the REPLY line of a
// reply whose parent's MSGID is known.
OutboundKludges MakeKludges(const ScanSite& site, const LocalMessage& message, uint32_t serial);

// Assembles the text in `text`, whose memory is reused. It is followed by a NUL that its size does not count, and ends
// at the first NUL of the stored text, if there is one. Returns 0, or -1 after logging that memory ran out.
int AssembleText(const TosserConfig& config, const LocalMessage& message, const OutboundKludges& kludges,
                 ByteBuffer* text);
