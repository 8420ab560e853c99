#include "kit/html_text.h"

#include "kit/kit_output.h"

std::string Html(std::string_view text) {
  std::string escaped;
  escaped.reserve(text.size());
  for (const char c : ShownName(text)) {
    switch (c) {
      case '&': escaped += "&amp;"; break;
      case '<': escaped += "&lt;"; break;
      case '>': escaped += "&gt;"; break;
      case '"': escaped += "&quot;"; break;
      case '\'': escaped += "&#39;"; break;
      default: escaped += c;
    }
  }
  return escaped;
}

std::string HtmlUnbroken(std::string_view text) {
  std::string unbroken;
  for (const char c : Html(text)) {
    if (c == ' ') {
      unbroken += "&nbsp;";
    } else {
      unbroken += c;
    }
  }
  return unbroken;
}
