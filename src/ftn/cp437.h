// Code page 437, the character set of the message base.
#pragma once

#include <cstddef>
#include <cstdint>

// Converts UTF-8 to code page 437 in place. Returns the new length, which is never larger. A character without a byte
// in the message base, and each byte that is not UTF-8, becomes "?"; dashes, curly quotes and the ellipsis become their
// ASCII forms. Overlong sequences are decoded like any other.
size_t Utf8ToCp437(uint8_t* text, size_t length);

constexpr size_t kLongestUtf8 = 3;  // bytes that a character of code page 437 takes

// Writes the character that a byte of code page 437 means; a byte below 0x80 is ASCII. Returns its length in bytes.
size_t Cp437ToUtf8(uint8_t byte, char (&utf8)[kLongestUtf8]);
