// The bytes of the message base's records, put at their offsets by hand.
#pragma once

#include <cstdint>
#include <string>

uint16_t WordAt(const std::string& bytes, size_t at);
int32_t LongAt(const std::string& bytes, size_t at);
std::string Word(unsigned int value);
std::string Long(int64_t value);

// Overwrites the bytes at `at`.
void Put(size_t at, const std::string& bytes, std::string* record);

// A text with its length byte, cut to `most` characters.
std::string Prefixed(const std::string& text, size_t most);

// Returns the text of such a field of at most `most` characters, up to its first NUL.
std::string PrefixedAt(const std::string& record, size_t at, size_t most);

// A stored text as records of 128 bytes.
std::string DatRecords(const std::string& body);

// Reads the text in `records` records from `where` on, unchanged. Returns false when some of them do not exist.
bool StoredText(const std::string& dat, size_t where, size_t records, std::string* text);

// The CRC-32 of a name.
int64_t CrcOf(const std::string& name);

// Whether the files are a message base that may be read and written.
bool IsSound(const std::string& ptr, const std::string& idx, const std::string& dat);
