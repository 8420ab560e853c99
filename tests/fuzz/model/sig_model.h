// The lookups in a SIG file, line by line through a small buffer, as they are described.
#pragma once

#include <cstdint>
#include <string>

bool ModelContainsMsgid(const std::string& sig, const std::string& msgid);

// Finds the number of the first line with that MSGID. Returns false when there is none.
bool ModelFindMsgNumber(const std::string& sig, const std::string& msgid, int32_t* number);

// Finds the MSGID of the first line with that number. Returns false when there is none.
bool ModelFindMsgid(const std::string& sig, int32_t number, std::string* msgid);
