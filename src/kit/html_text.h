// Texts of an HTML page.
#pragma once

#include <string>
#include <string_view>

// Returns the text with markup escaped, for content and for attributes, and control bytes as
// "\x1B".
std::string Html(std::string_view text);

// The same with blanks at which no line is broken.
std::string HtmlUnbroken(std::string_view text);
