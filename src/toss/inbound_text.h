// The text of an inbound message: lines, the area tag and the kludges (FTS-0004, FTS-0009, FTS-5003), and what of it
// the message base stores.
#pragma once

#include <cstddef>

#include "toss/inbound_message.h"

// Splits `text`, which ends before its NUL and is `size` bytes long, into lines and fills the message's area, kludge
// values and body. Kludge lines and the SEEN-BY and PATH lines are dropped; a body that its CHRS kludge calls UTF-8
// becomes code page 437. Returns 0, or -1 when the message has to be refused: the reason has been logged, but for want
// of memory.
int ParseInboundText(const char* text, size_t size, InboundMessage* message);

// Whether a subject begins like that of a reply, "re:" in any case.
bool LooksLikeReplySubject(const char* subject);
