#include "scan/local_message.h"

#include <cstring>

#include "app/run_log.h"
#include "app/shown_text.h"
#include "bbs/message_body.h"

namespace {

// Splits "Name@zone:net/node" at its last at sign.
bool AddressNetmail(LocalMessage* message) {
  const char* const to = message->header.To;
  const char* const at_sign = strrchr(to, '@');
  if (at_sign == nullptr || !ParseFtnAddress(at_sign + 1, &message->destination)) return false;
  const auto length = static_cast<size_t>(at_sign - to);
  memcpy(message->recipient, to, length);
  message->recipient[length] = '\0';
  return true;
}

bool HasHighByte(const ByteBuffer& text) {
  uint8_t all_bits = 0;
  for (const uint8_t* at = text.data; at != text.data + text.size; ++at) all_bits |= *at;
  return all_bits >= 0x80;
}

// Copies the text without its bytes 0x80 to 0xFF: outbound mail names no character set for them. Most texts have none
// and are copied at once.
int StripHighBytes(const ByteBuffer& raw, ByteBuffer* body) {
  body->size = 0;
  if (ReserveBytes(body, raw.size + 1) != 0) return -1;
  if (!HasHighByte(raw)) return AppendBytes(body, raw.data, raw.size);
  uint8_t* to = body->data;
  for (size_t i = 0; i < raw.size; ++i) {
    if (raw.data[i] < 0x80) *to++ = raw.data[i];
  }
  body->size = static_cast<size_t>(to - body->data);
  return 0;
}

}  // namespace

ReadMessageResult ReadLocalMessage(const uint8_t* record, int64_t ordinal, const OsPlace& dat, ByteBuffer* raw,
                                   LocalMessage* message) {
  message->header = UnpackPtrRecord(record);
  message->ordinal = ordinal;
  const PtrRecord& header = message->header;
  const int32_t c = message->conference->Number;
  if (header.NetMail && !AddressNetmail(message)) {
    LogLine(
        "  msg #%d in conf %d: netmail To: '%s' has no parseable @address -- skipping (left unsent). Address it as 'Name@zone:net/node'.",
        header.MsgNumber, c, ShownText(header.To).text);
    return kMessageSkipped;
  }
  if (ReadMessageBody(dat, header.Where, header.Records, raw) != 0) {
    LogLine("  msg #%d in conf %d: could not read body records -- skipping", header.MsgNumber, c);
    return kMessageSkipped;
  }
  if (StripHighBytes(*raw, &message->body) != 0) {
    LogLine("ERROR: out of memory stripping outbound body");
    return kMessageNoMemory;
  }
  return kMessageRead;
}
