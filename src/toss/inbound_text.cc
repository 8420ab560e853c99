#include "toss/inbound_text.h"

#include <cstdint>
#include <cstring>

#include "base/ascii.h"
#include "bbs/records.h"
#include "ftn/area_tag.h"
#include "ftn/cp437.h"

namespace {

constexpr size_t kLongestLine = 65536;
constexpr char kKludgeByte = 0x01;

struct Line {
  const char* text;
  size_t size;
};

bool IsLineEnd(char c) { return c == '\r' || c == '\n'; }

const char* FindByte(const char* start, const char* end, char byte) {
  if (start == end) return end;
  const void* const found = memchr(start, byte, static_cast<size_t>(end - start));
  return found != nullptr ? static_cast<const char*>(found) : end;
}

// Splits a text into lines, one after the other. The next CR and the next LF are remembered from line to line: in a
// text that has only one of the two, each search for the other would read to the end.
struct LineWalk {
  const char* at;
  const char* end;
  const char* cr;  // the first one not before `at`, or `end`
  const char* lf;

  LineWalk(const char* text, size_t size)
      : at(text), end(text + size), cr(FindByte(at, end, '\r')), lf(FindByte(at, end, '\n')) {}
};

// Returns the next line. CR, LF, CR LF and LF CR end one line; after a line end at the end of the text there is no
// further line.
Line TakeLine(LineWalk* walk) {
  const char* const start = walk->at;
  const char* const stop = walk->cr < walk->lf ? walk->cr : walk->lf;
  const char* next = stop;
  if (next != walk->end) ++next;
  if (next != walk->end && IsLineEnd(*next) && *next != *stop) ++next;
  if (walk->cr < next) walk->cr = FindByte(next, walk->end, '\r');
  if (walk->lf < next) walk->lf = FindByte(next, walk->end, '\n');
  walk->at = next;
  return {start, static_cast<size_t>(stop - start)};
}

// Copies the tag from a line that begins with "AREA:".
ParsedText TakeArea(const Line& line, InboundMessage* message) {
  constexpr size_t kWordSize = 5;
  const char* tag = line.text + kWordSize;
  size_t size = line.size - kWordSize;
  while (size > 0 && *tag == ' ') ++tag, --size;
  while (size > 0 && (tag[size - 1] == ' ' || tag[size - 1] == '\t')) --size;
  if (size >= sizeof message->area || !IsAreaTag(tag, size)) return {kTextBadArea, tag, size};
  memcpy(message->area, tag, size);
  message->area[size] = '\0';
  return {};
}

// Copies a kludge's value, which starts after the colon and any blanks.
template <size_t kSize>
ParsedText CopyKludgeValue(const char* name, const char* value, size_t size, char (&destination)[kSize]) {
  while (size > 0 && *value == ' ') ++value, --size;
  if (size >= kSize) return {kTextLongKludge, value, size, name, kSize - 1};
  memcpy(destination, value, size);
  destination[size] = '\0';
  return {};
}

// Copies the value from a kludge line, if it is one of the three that the toss needs.
ParsedText TakeKludge(const Line& line, InboundMessage* message) {
  const char* const word = line.text + 1;
  const size_t size = line.size - 1;
  if (BeginsWithWord(word, size, "CHRS:")) return CopyKludgeValue("CHRS", word + 5, size - 5, message->charset);
  if (BeginsWithWord(word, size, "MSGID:")) return CopyKludgeValue("MSGID", word + 6, size - 6, message->msgid);
  if (BeginsWithWord(word, size, "REPLY:")) return CopyKludgeValue("REPLY", word + 6, size - 6, message->reply);
  return {};
}

bool IsRoutingLine(const Line& line) {
  return BeginsWithWord(line.text, line.size, "SEEN-BY:") || BeginsWithWord(line.text, line.size, "PATH:");
}

// The body has memory for the whole text and one more line end, which is the most it can need.
void KeepLine(const Line& line, ByteBuffer* body) {
  memcpy(body->data + body->size, line.text, line.size);
  body->size += line.size;
  body->data[body->size++] = static_cast<uint8_t>(kLineEndByte);
}

ParsedText TakeNextLine(const Line& line, bool first, InboundMessage* message) {
  if (line.size > kLongestLine) return {kTextLongLine, line.text, line.size, "", kLongestLine};
  if (first && BeginsWithWord(line.text, line.size, "AREA:")) return TakeArea(line, message);
  if (line.size != 0 && line.text[0] == kKludgeByte) return TakeKludge(line, message);
  if (!IsRoutingLine(line)) KeepLine(line, &message->body);
  return {};
}

}  // namespace

ParsedText ParseInboundText(const char* text, size_t size, InboundMessage* message) {
  message->body.size = 0;
  if (ReserveBytes(&message->body, size + 1) != 0) return {kTextNoMemory};
  LineWalk walk(text, size);
  for (bool first = true; walk.at != walk.end; first = false) {
    const ParsedText line = TakeNextLine(TakeLine(&walk), first, message);
    if (line.fault != kTextSound) return line;
  }
  if (BeginsWithWord(message->charset, strlen(message->charset), "UTF-8")) {
    message->body.size = Utf8ToCp437(message->body.data, message->body.size);
  }
  return {};
}
