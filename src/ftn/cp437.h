// Code page 437, the character set of the message base.
#pragma once

#include <cstddef>
#include <cstdint>

// Turns UTF-8 into code page 437 in place and returns the new length, which is never larger. A character that the
// message base has no byte for, and each byte that is not UTF-8, becomes "?"; dashes, curly quotes and the ellipsis
// become their plain forms. Overlong forms are decoded like any other.
size_t Utf8ToCp437(uint8_t* text, size_t length);
