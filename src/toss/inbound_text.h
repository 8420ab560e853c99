// The text of an inbound message: its lines, area tag and kludges (FTS-0004, FTS-0009, FTS-5003), and the part that the
// message base stores.
#pragma once

#include <cstddef>

#include "toss/inbound_message.h"

// Why a text cannot be stored.
enum TextFault {
  kTextSound,
  kTextNoMemory,
  kTextBadArea,     // the AREA tag is empty, malformed or too long
  kTextLongKludge,  // the value of a kludge is too long
  kTextLongLine,
};

// The result of parsing a text; for a fault, the part of the text that has it.
struct ParsedText {
  TextFault fault = kTextSound;
  const char* value = "";   // the tag, the value or the line; not NUL-terminated
  size_t size = 0;          // of it, in bytes
  const char* kludge = "";  // the name of the kludge
  size_t limit = 0;         // the most bytes that a value or line may have
};

// Splits `text`, of `size` bytes and followed by a NUL, into lines and fills the message's area, kludge values and
// body. Kludge lines and the SEEN-BY and PATH lines are dropped; a body whose CHRS kludge says UTF-8 is converted to
// code page 437. A message whose text has a fault has to be refused.
ParsedText ParseInboundText(const char* text, size_t size, InboundMessage* message);
