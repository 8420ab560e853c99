#include <algorithm>

#include "fuzz/model/packet_model.h"
#include "fuzz/model/plain_text.h"

namespace {

std::vector<std::string> SplitText(const std::string& text) {
  std::vector<std::string> lines;
  for (size_t at = 0; at < text.size();) {
    const size_t end = std::min(text.size(), text.find_first_of("\r\n", at));
    lines.push_back(text.substr(at, end - at));
    const std::string pair = text.substr(end, 2);
    at = end + (pair == "\r\n" || pair == "\n\r" ? 2 : 1);
  }
  return lines;
}

void Refuse(const std::string& refusal, ModelText* text) {
  text->refused = true;
  text->refusal = refusal;
}

void ReadArea(const std::string& line, ModelText* text) {
  const std::string tag = TrimmedEnd(TrimmedStart(line.substr(5), " "), " \t");
  const bool clean = std::all_of(tag.begin(), tag.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte > 0x20 && byte != ':' && byte != 0x7F;
  });
  if (tag.empty() || !clean || tag.size() >= 32) {
    Refuse("ERROR: inbound AREA tag is empty, malformed, or too long: '" + tag + "'", text);
  } else {
    text->area = tag;
  }
}

void ReadValue(const std::string& name, size_t most, const std::string& rest, std::string* value, ModelText* text) {
  const std::string found = TrimmedStart(rest, " ");
  if (found.size() > most) {
    Refuse("ERROR: inbound " + name + " value is too long (" + std::to_string(found.size()) + " bytes; maximum " +
               std::to_string(most) + ")",
           text);
  } else {
    *value = found;
  }
}

void ReadLine(const std::string& line, bool first, ModelText* text) {
  if (line.size() > 65536) {
    Refuse("ERROR: inbound logical line is " + std::to_string(line.size()) + " bytes; safety limit is 65536", text);
  } else if (first && BeginsWith(line, "AREA:")) {
    ReadArea(line, text);
  } else if (BeginsWith(line, "\x01") && BeginsWith(line.substr(1), "CHRS:")) {
    ReadValue("CHRS", 31, line.substr(6), &text->charset, text);
  } else if (BeginsWith(line, "\x01") && BeginsWith(line.substr(1), "MSGID:")) {
    ReadValue("MSGID", 127, line.substr(7), &text->msgid, text);
  } else if (BeginsWith(line, "\x01") && BeginsWith(line.substr(1), "REPLY:")) {
    ReadValue("REPLY", 127, line.substr(7), &text->reply, text);
  } else if (!BeginsWith(line, "\x01") && !BeginsWith(line, "SEEN-BY:") && !BeginsWith(line, "PATH:")) {
    text->body += line + "\x01";
  }
}

}  // namespace

ModelText ReadText(const std::string& text) {
  ModelText read;
  bool first = true;
  for (const std::string& line : SplitText(text)) {
    ReadLine(line, first, &read);
    if (read.refused) return read;
    first = false;
  }
  if (BeginsWith(read.charset, "UTF-8")) read.body = InCp437(read.body);
  return read;
}
