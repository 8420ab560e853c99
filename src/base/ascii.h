// Comparison of letters in any case: ASCII letters only, whatever the system and its locale.
#pragma once

#include <cstddef>

// Returns the capital of a letter from a to z, any other byte unchanged.
inline char UpperAscii(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

// Converts the letters of a NUL-terminated text to capitals.
inline void UpperText(char* text) {
  for (; *text != '\0'; ++text) *text = UpperAscii(*text);
}

// Whether the `size` bytes at `text` begin with `word`, letters in any case.
inline bool BeginsWithWord(const char* text, size_t size, const char* word) {
  size_t i = 0;
  for (; word[i] != '\0'; ++i) {
    if (i == size || UpperAscii(text[i]) != UpperAscii(word[i])) return false;
  }
  return true;
}

// Whether two NUL-terminated texts are equal, letters in any case.
inline bool SameWord(const char* left, const char* right) {
  for (; *left != '\0' && UpperAscii(*left) == UpperAscii(*right); ++left, ++right) {
  }
  return UpperAscii(*left) == UpperAscii(*right);
}
