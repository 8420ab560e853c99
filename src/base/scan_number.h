// Decimal integers in text, read as the C library's formatted input reads "%d", but safe at the ends of the range.
#pragma once

#include <cstdint>

// Blank, tab, line feed, vertical tab, form feed or carriage return.
bool IsWhiteSpace(char c);

// Moves `*at` past white space.
void SkipWhiteSpace(const char** at);

// Skips white space, then reads an optional sign and at least one digit. A number beyond 32 bits becomes the nearest
// one that fits. Returns true and moves `*at` behind the last digit; returns false, `*at` anywhere within what was
// examined, when no number stands there.
bool ScanInt32(const char** at, int32_t* value);

enum NumberScan { kNumberFits, kNumberTooLarge, kNoNumber };

// As ScanInt32 for "%u": a minus sign counts down from 2 to the power of 32. A number of more than 32 bits is told and
// not cut; `*at` is moved behind it all the same.
NumberScan ScanUint32(const char** at, uint32_t* value);

// The number at the start of `text`, or 0 when there is none (atol's rule).
int32_t LeadingInt32(const char* text);
