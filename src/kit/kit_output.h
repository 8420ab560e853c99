// Output of cvkit. Mail and names must never control the terminal: all text from them is made showable first.
#pragma once

#include <string>
#include <string_view>

// Converts code page 437 to UTF-8, with control bytes and DEL as "\x1B"; for one line of text.
std::string ShownMail(std::string_view text);

// Converts code page 437 to UTF-8, control bytes unchanged: for files, and for JSON, which has its own escapes.
std::string DecodedMail(std::string_view text);

// Returns a name or an argument as UTF-8: bytes that are not UTF-8, and control characters, become "\x1B".
std::string ShownName(std::string_view name);

// Like ShownName, for text of several lines: line feeds are kept.
std::string Escaped(std::string_view text);

// Write UTF-8 to standard output (Show) and to standard error (Complain).
void Show(const std::string& text);
void Complain(const std::string& text);

enum Colour { kPlain, kGood, kWarning, kBad, kFaint, kStrong };

// Returns the text in a colour if standard output is a terminal and NO_COLOR is not set, otherwise unchanged.
std::string Coloured(Colour colour, const std::string& text);
