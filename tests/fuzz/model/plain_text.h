// The simplest way to read texts; the targets compare the program with it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// The lines as a loop of fgets with a buffer of `buffer` bytes sees them: pieces of at most buffer - 1 bytes, each up
// to its first NUL, line ends included.
std::vector<std::string> ReadLines(const std::string& content, size_t buffer);

// Return the text without the bytes of `which` at its end, or at its start.
std::string TrimmedEnd(std::string text, const char* which);
std::string TrimmedStart(const std::string& text, const char* which);

// Returns the text with ASCII letters as capitals.
std::string Capitals(std::string text);
bool BeginsWith(const std::string& text, const std::string& capitals);  // in any case

// Reads as "%d": white space, a sign, digits; beyond 32 bits the nearest number. Moves `*at` past them if they exist.
bool ReadNumber(const char** at, int32_t* value);
bool ReadAfter(char separator, const char** at, int32_t* value);  // the same after exactly that character
int32_t NumberAtStart(const std::string& text);                   // 0 when there is none

// Reads "zone:net/node" with or without ".point": how many of the four were read, and their values.
int ReadAddress(const std::string& text, int32_t (&numbers)[4]);

// Converts a date of a packet to one of the message base.
std::string ConvertedDate(const std::string& date_time);
