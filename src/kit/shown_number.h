// Numbers as texts for people.
#pragma once

#include <cstdint>
#include <string>

// Returns "1,284".
std::string Grouped(int64_t number);

// Returns a number of bytes as "712 B", "3.4 MB".
std::string ShownSize(int64_t bytes);

// Returns "0.4%", "12%"; "<0.1%" for anything smaller that is not 0. `whole` must be above 0.
std::string ShownShare(int64_t part, int64_t whole);

// Returns a number of seconds as "8 s", "2 min 5 s", "1 h 4 min".
std::string ShownDuration(int64_t seconds);
