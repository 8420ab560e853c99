// One unsent message on its way from the message base to a packet.
#pragma once

#include <cstdint>

#include "base/byte_buffer.h"
#include "bbs/conference_table.h"
#include "bbs/records.h"
#include "ftn/address.h"
#include "platform/os.h"

struct LocalMessage {
  const ConferenceEntry* conference = nullptr;
  PtrRecord header;
  int64_t ordinal = 0;      // the header's position in the PTR file, from 0
  FtnAddress destination;   // of a netmail message
  char recipient[31] = {};  // of a netmail message: the name without its address
  ByteBuffer body;          // line ends are CR; bytes 0x80 to 0xFF are removed
};

// Whether a header's message still has to be exported; `record` has kPtrRecordSize bytes.
inline bool IsUnsent(const uint8_t* record) {
  return record[ptr_layout::MsgSent.at] == 0 && record[ptr_layout::Deleted.at] == 0;
}

// The result of reading a message: ready for export, left unsent with a line in the log, or no memory (logged too).
enum ReadMessageResult { kMessageRead, kMessageSkipped, kMessageNoMemory };

// Fills `message`, whose conference is set, from the header at `record`, which has position `ordinal` in the PTR file,
// and from the text in the DAT file. `raw` is scratch memory for the stored text.
ReadMessageResult ReadLocalMessage(const uint8_t* record, int64_t ordinal, const OsPlace& dat, ByteBuffer* raw,
                                   LocalMessage* message);
