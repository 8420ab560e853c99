// BADAREAS.LST in MSGDIR: a line for every message whose area tag no conference carries.
#pragma once

#include "bbs/message_base.h"

// Appends the local time and the tag as received, at most 31 characters. When the file cannot be opened nothing is
// written and nothing said.
void RecordBadArea(const MessageBase& base, const char* area);
