// The search of a block of a SIG file for the lines of two MSGIDs, in one pass.
//
// Whoever sends mail chooses the MSGIDs that the file is full of, and the one that is looked for: no byte may cost more
// than a few looks, however alike they are. So a text is looked for behind line ends only, by two of its bytes, and
// these are chosen anew when they do not tell it from the lines that are there.
#pragma once

#include <cstddef>
#include <cstdint>

// Bytes: a longer line is taken in pieces, each a line of its own.
constexpr ptrdiff_t kSigPieceSize = 255;

// A text that may be the first field of a piece; one with a tab never is.
struct SigWanted {
  const char* text;  // NUL-terminated; empty: not looked for
  size_t size;
  ptrdiff_t field_end;  // where the byte behind it stands; -1, the LF before it, for one that fills a piece
  size_t probes[2];     // the bytes of it that are compared first: those that have told lines from it of late
  size_t misses;        // lines that were the same there, and different elsewhere

  explicit SigWanted(const char* msgid);
};

// What a pass over a SIG file has found.
struct SigScan {
  bool has_msgid = false;   // the MSGID is the first field of some line; a line without a tab counts as a first field
  int32_t number = 0;       // the number on that line; 0 without one
  bool has_parent = false;  // the reply's MSGID is the first field of some line with a tab
  int32_t parent = 0;       // the number on the first such line
};

// Looks through a block that begins and ends where pieces do, and adds what it finds to `scan`; the first line with the
// reply's MSGID counts, and the search may end with the first with the message's own. Returns true when there is
// nothing left to look for.
bool SearchSigBlock(const char* begin, const char* end, SigWanted* msgid, SigWanted* reply, SigScan* scan);

// Where the piece that begins at `piece` ends, its line end included.
const char* SigPieceEnd(const char* piece, const char* end);
