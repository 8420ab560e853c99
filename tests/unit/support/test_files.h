// Access to files for tests: through the C++ library, not through src/platform.
//
// Bytes are held in std::string throughout, NULs included.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

using Strings = std::vector<std::string>;

// "0A 0B" and "0a0b" become two bytes; anything but hexadecimal digits in pairs and blanks fails the test.
std::string FromHex(const char* text);

// The bytes as "0A 0B", to compare and to be read in a failure.
std::string ToHex(const std::string& bytes);
std::string ToHex(const uint8_t* bytes, size_t size);

inline const uint8_t* BytesOf(const std::string& bytes) { return reinterpret_cast<const uint8_t*>(bytes.data()); }

// Creates or replaces a file. A failure fails the test.
void WriteFile(const std::string& path, const std::string& content);

// The whole file; a file that cannot be read fails the test and is empty.
std::string ReadFile(const std::string& path);

// Cuts or lengthens a file, which is created when missing; bytes added are zero and take no room on most disks.
void ResizeFile(const std::string& path, int64_t size);

// Whether a file or directory is there.
bool PathExists(const std::string& path);

void MakeDirectory(const std::string& path);

// Removes a file; whether it was there does not matter.
void RemoveFile(const std::string& path);

// The last modification in seconds since 1970-01-01 UTC, and setting it.
int64_t ModifiedAt(const std::string& path);
void SetModifiedAt(const std::string& path, int64_t seconds);
