// Numbers to be read by people.
#pragma once

#include <cstdint>
#include <string>

// "1,284".
std::string Grouped(int64_t number);

// Bytes: "712 B", "3.4 MB".
std::string ShownSize(int64_t bytes);

// "0.4%", "12%"; of what is not 0 never "0%". `whole` is above 0.
std::string ShownShare(int64_t part, int64_t whole);

// Seconds: "8 s", "2 min 5 s", "1 h 4 min".
std::string ShownDuration(int64_t seconds);
