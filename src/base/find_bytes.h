// Searching a large block for a short text.
#pragma once

#include <cstddef>

// The first place from `from` on where the `size` bytes of `text`, at least one, stand whole before `end`; `end` when
// there is none.
const char* FindBytes(const char* from, const char* end, const char* text, size_t size);
