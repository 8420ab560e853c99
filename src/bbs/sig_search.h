// The search of a block of a SIG file for the lines of two MSGIDs, in one pass.
//
// The senders of mail choose the MSGIDs in the file and the one that is looked for, so the cost of each byte has to be
// bounded however similar they are. A text is therefore looked for after line ends only, by two of its bytes, and other
// two are chosen when these do not distinguish it from the lines of the file.
#pragma once

#include <cstddef>
#include <cstdint>

// Bytes: a longer line is split into pieces, each of which counts as a line.
constexpr ptrdiff_t kSigPieceSize = 255;

// A text to find as the first field of a piece; one with a tab never is.
struct SigWanted {
  const char* text;  // NUL-terminated; empty: not looked for
  size_t size;
  ptrdiff_t field_end;  // offset of the byte after it; -1, the LF before it, for a text that fills a piece
  size_t probes[2];     // offsets of the bytes that are compared first: those that differed in recent lines
  size_t misses;        // lines in which both were equal and another byte was not

  explicit SigWanted(const char* msgid);
};

// The result of a pass over a SIG file.
struct SigScan {
  bool has_msgid = false;   // the MSGID is the first field of some line; a line without a tab is all first field
  int32_t number = 0;       // the number in that line; 0 without one
  bool has_parent = false;  // the reply's MSGID is the first field of some line with a tab
  int32_t parent = 0;       // the number in the first such line
};

// Searches a block that begins and ends where pieces do, and adds what it finds to `scan`. The first line with the
// reply's MSGID counts; the search may end at the first with the message's own. Returns true when nothing is left to
// look for.
bool SearchSigBlock(const char* begin, const char* end, SigWanted* msgid, SigWanted* reply, SigScan* scan);

// Returns the end of the piece that begins at `piece`, its line end included.
const char* SigPieceEnd(const char* piece, const char* end);
