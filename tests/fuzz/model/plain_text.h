// Reading texts in the simplest way: what the targets compare the program with.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// The lines as a loop of fgets with a buffer of `buffer` bytes sees them: pieces of at most buffer - 1 bytes, each up
// to its first NUL, line ends included.
std::vector<std::string> ReadLines(const std::string& content, size_t buffer);

// Without the bytes of `which` at its end, or at its start.
std::string TrimmedEnd(std::string text, const char* which);
std::string TrimmedStart(const std::string& text, const char* which);

// ASCII letters as capitals.
std::string Capitals(std::string text);
bool BeginsWith(const std::string& text, const std::string& capitals);  // in any case

// "%d": white space, a sign, digits; beyond 32 bits the nearest number. Moves `*at` behind them when they are there.
bool ReadNumber(const char** at, int32_t* value);
bool ReadAfter(char separator, const char** at, int32_t* value);  // the same behind exactly that character
int32_t NumberAtStart(const std::string& text);                   // 0 when there is none

// "zone:net/node" with or without ".point": how many of the four were read, and their values.
int ReadAddress(const std::string& text, int32_t (&numbers)[4]);

// The message base's date for a date of a packet.
std::string ConvertedDate(const std::string& date_time);
