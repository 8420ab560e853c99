// Messages as mail programs read them: an mbox file of RFC 5322 messages in UTF-8.
#pragma once

#include <functional>
#include <string>

#include "kit/message_reader.h"

// The message with its "From " line. `msgid_of` returns the MSGID of a message number of the conference, or an empty
// text; the message and what it replies to are named by their MSGIDs, or by their numbers where there is none.
std::string MboxMessage(const ConferenceEntry& conference, const StoredMessage& message, const std::string& text,
                        const std::function<std::string(int32_t)>& msgid_of);
