#include "toss/inbound_message.h"

#include <cstdio>
#include <cstring>
#include <initializer_list>

namespace {

// Copies a text; what does not fit is cut off.
template <size_t kSize>
void CopyText(const PackedText& from, char (&to)[kSize]) {
  const size_t size = from.size < kSize ? from.size : kSize - 1;
  memcpy(to, from.text, size);
  to[size] = '\0';
}

}  // namespace

void ClearInboundMessage(InboundMessage* message) {
  for (char* text : {message->dateTime, message->toUserName, message->fromUserName, message->subject, message->origin,
                     message->area, message->charset, message->msgid, message->reply}) {
    text[0] = '\0';
  }
  message->attribute = 0;
  message->body.size = 0;
}

void TakePackedHead(const PackedMessageView& packed, InboundMessage* message) {
  ClearInboundMessage(message);
  message->attribute = packed.head.attribute;
  (void)snprintf(message->origin, sizeof message->origin, "%u/%u", static_cast<unsigned int>(packed.head.origNet),
                 static_cast<unsigned int>(packed.head.origNode));
  CopyText(packed.dateTime, message->dateTime);
  CopyText(packed.toUserName, message->toUserName);
  CopyText(packed.fromUserName, message->fromUserName);
  CopyText(packed.subject, message->subject);
}
