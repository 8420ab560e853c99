// Texts for a page.
#pragma once

#include <string>
#include <string_view>

// The text with what would be markup escaped, in an attribute too. It has to be showable already.
std::string Html(std::string_view text);

// The same with blanks at which no line ends.
std::string HtmlUnbroken(std::string_view text);
