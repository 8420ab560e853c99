// Decimal integers in text, read as the C library's scanf reads "%d", but with defined results beyond the range.
#pragma once

#include <cstdint>

// Blank, tab, line feed, vertical tab, form feed or carriage return.
bool IsWhiteSpace(char c);

// Moves `*at` past white space.
void SkipWhiteSpace(const char** at);

// Skips white space, then reads an optional sign and at least one digit. A number beyond 32 bits becomes the nearest
// one that fits. Returns true and moves `*at` past the last digit; returns false when there is no number, with `*at`
// somewhere within the text examined.
bool ScanInt32(const char** at, int32_t* value);

enum NumberScan { kNumberFits, kNumberTooLarge, kNoNumber };

// As ScanInt32 for "%u": -n is 2 to the power of 32, less n. A number of more than 32 bits is reported and not cut;
// `*at` is moved past it all the same.
NumberScan ScanUint32(const char** at, uint32_t* value);

// Returns the number at the start of `text`, or 0 when there is none, as atol does.
int32_t LeadingInt32(const char* text);
