// What cvkit prints. Mail and names never steer a terminal: everything that comes from them is made showable first.
#pragma once

#include <string>
#include <string_view>

// Code page 437 as UTF-8, control bytes and DEL as "\x1B"; for one line of text.
std::string ShownMail(std::string_view text);

// Code page 437 as UTF-8, control bytes as they are: for files and JSON, which has escapes of its own.
std::string DecodedMail(std::string_view text);

// The bytes of a name or an argument as UTF-8: what is not UTF-8, and every control character, as "\x1B".
std::string ShownName(std::string_view name);

// As ShownName for a text of several lines, whose line feeds stay.
std::string Escaped(std::string_view text);

// Standard output and standard error; UTF-8.
void Show(const std::string& text);
void Complain(const std::string& text);

enum Colour { kPlain, kGood, kWarning, kBad, kFaint, kStrong };

// The text in a colour when standard output is a terminal and NO_COLOR is not set, else the text.
std::string Coloured(Colour colour, const std::string& text);
