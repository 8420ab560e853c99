// The text of an inbound message: lines, the area tag and the kludges (FTS-0004, FTS-0009, FTS-5003), and what of it
// the message base stores.
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

// What became of a text, and what is wrong with it where it lies.
struct ParsedText {
  TextFault fault = kTextSound;
  const char* value = "";   // the tag, the value or the line; not NUL-terminated
  size_t size = 0;          // its bytes
  const char* kludge = "";  // which
  size_t limit = 0;         // bytes that a value or line may have
};

// Splits `text`, which ends before its NUL and is `size` bytes long, into lines and fills the message's area, kludge
// values and body. Kludge lines and the SEEN-BY and PATH lines are dropped; a body that its CHRS kludge calls UTF-8
// becomes code page 437. A message whose text has a fault has to be refused.
ParsedText ParseInboundText(const char* text, size_t size, InboundMessage* message);
