#include "toss/inbound_message.h"

#include <initializer_list>

void ClearInboundMessage(InboundMessage* message) {
  for (char* text : {message->dateTime, message->toUserName, message->fromUserName, message->subject, message->origin,
                     message->area, message->charset, message->msgid, message->reply}) {
    text[0] = '\0';
  }
  message->attribute = 0;
  message->body.size = 0;
}
