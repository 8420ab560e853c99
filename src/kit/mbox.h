// Writes messages for mail programs: an mbox file of RFC 5322 messages in UTF-8.
#pragma once

#include <functional>
#include <string>

#include "kit/message_reader.h"

// Returns the message with its "From " line. `msgid_of` returns the MSGID of a message number of the conference, or an
// empty text. The Message-ID of a message, and of the one that it replies to, is made from the MSGID or otherwise from
// the number.
std::string MboxMessage(const ConferenceEntry& conference, const StoredMessage& message, const std::string& text,
                        const std::function<std::string(int32_t)>& msgid_of);
