#include "bbs/sig_search.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "base/bytes.h"
#include "base/fixed_text.h"
#include "base/scan_number.h"

namespace {

// As many positions are examined at once as kPlaces, with vector instructions of kLanes bytes.
constexpr ptrdiff_t kPlaces = 64;
constexpr ptrdiff_t kLanes = 16;
constexpr ptrdiff_t kGroups = kPlaces / kLanes;
typedef signed char Lanes __attribute__((vector_size(kLanes)));

bool IsAsked(const SigWanted& wanted) { return wanted.text[0] != '\0'; }

// The highest of the bytes that may end a first field: NUL, tab, LF and CR.
constexpr signed char kLastFieldEnd = '\r';

// After this many lines that differ from a text only in other bytes, other bytes of it are compared first.
constexpr size_t kPatience = 8;

// One piece, as text: up to its first NUL and without the line end.
struct SigPiece {
  char text[kSigPieceSize + 1];
};

SigPiece CopyPiece(const char* from, const char* end) {
  SigPiece piece;
  const auto size = static_cast<size_t>(end - from);
  memcpy(piece.text, from, size);
  piece.text[size] = '\0';
  TrimLineEnd(piece.text);
  return piece;
}

// Cuts the line at its first tab. Returns what follows the tab, or nullptr when there is none.
char* CutAtTab(SigPiece* piece) {
  char* const tab = strchr(piece->text, '\t');
  if (tab == nullptr) return nullptr;
  *tab = '\0';
  return tab + 1;
}

// A block being searched.
struct SigPass {
  const char* end;
  SigWanted* msgid;
  SigWanted* reply;
  SigScan* scan;

  // How often the bytes that are compared first have changed.
  size_t Changes() const { return msgid->misses / kPatience + reply->misses / kPatience; }

  bool IsDone() const { return scan->has_msgid || (!IsAsked(*msgid) && (!IsAsked(*reply) || scan->has_parent)); }
};

// Whether the whole text is at `piece`.
bool Begins(const char* piece, const char* end, SigWanted* wanted) {
  const size_t size = wanted->size;
  if (static_cast<size_t>(end - piece) < size) return false;
  for (const size_t probe : wanted->probes) {
    if (piece[probe] != wanted->text[probe]) return false;
  }
  if (memcmp(piece, wanted->text, size) == 0) return true;
  if (++wanted->misses % kPatience == 0) {
    wanted->probes[0] = wanted->probes[1];
    wanted->probes[1] = static_cast<size_t>(std::mismatch(piece, piece + size, wanted->text).first - piece);
  }
  return false;
}

// Compares the piece that begins at `piece`. Returns true when nothing is left to look for.
bool TryPiece(const SigPass& pass, const char* piece) {
  if (IsAsked(*pass.msgid) && Begins(piece, pass.end, pass.msgid)) {
    SigPiece copy = CopyPiece(piece, SigPieceEnd(piece, pass.end));
    const char* const after_tab = CutAtTab(&copy);
    pass.scan->has_msgid = strcmp(copy.text, pass.msgid->text) == 0;
    if (pass.scan->has_msgid && after_tab != nullptr) pass.scan->number = LeadingInt32(after_tab);
  }
  if (IsAsked(*pass.reply) && !pass.scan->has_parent && Begins(piece, pass.end, pass.reply)) {
    SigPiece copy = CopyPiece(piece, SigPieceEnd(piece, pass.end));
    const char* const after_tab = CutAtTab(&copy);
    if (after_tab != nullptr && strcmp(copy.text, pass.reply->text) == 0) {
      pass.scan->has_parent = true;
      pass.scan->parent = LeadingInt32(after_tab);
    }
  }
  return pass.IsDone();
}

// Two bytes of a text and their offsets from the LF before it, in the form that is compared at many positions at once.
struct Probe {
  Lanes bytes[2];
  ptrdiff_t at[2];
  ptrdiff_t field_end;

  explicit Probe(const SigWanted& wanted)
      : bytes{Lanes{} + static_cast<signed char>(wanted.text[wanted.probes[0]]),
              Lanes{} + static_cast<signed char>(wanted.text[wanted.probes[1]])},
        at{static_cast<ptrdiff_t>(wanted.probes[0]) + 1, static_cast<ptrdiff_t>(wanted.probes[1]) + 1},
        field_end(wanted.field_end + 1) {}
};

Lanes Load(const char* at) {
  Lanes lanes;
  memcpy(&lanes, at, sizeof lanes);
  return lanes;
}

bool IsAnySet(const Lanes& lanes) {
  uint64_t halves[2];
  memcpy(halves, &lanes, sizeof halves);
  return (halves[0] | halves[1]) != 0;
}

Lanes MayBegin(const char* at, const Probe& probe) {
  return (Load(at + probe.at[0]) == probe.bytes[0]) & (Load(at + probe.at[1]) == probe.bytes[1]);
}

Lanes MayEnd(const char* at, const Probe& probe) {
  const Lanes bytes = Load(at + probe.field_end);
  return (bytes >= 0) & (bytes <= kLastFieldEnd);
}

// The LFs, within kPlaces positions, after which a text may begin: all bits of their lanes are set.
struct Candidates {
  Lanes lanes[kGroups];
};

// Compares the lines that begin after the candidates. Returns true when nothing is left to look for.
bool TryLines(const SigPass& pass, const char* at, const Candidates& candidates) {
  uint8_t marks[kPlaces];
  memcpy(marks, candidates.lanes, sizeof marks);
  for (size_t i = 0; i < kPlaces; i += sizeof(uint64_t)) {
    uint64_t left = GetU32(marks + i) | uint64_t{GetU32(marks + i + 4)} << 32;
    while (left != 0) {
      const auto bit = static_cast<size_t>(std::countr_zero(left));
      if (TryPiece(pass, at + i + bit / 8 + 1)) return true;
      left &= ~(uint64_t{0xFF} << bit);
    }
  }
  return false;
}

// Returns the beginning of the last line after an LF in [from, stop); `from`, where a piece begins, if there is no LF.
const char* LastLine(const char* from, const char* stop) {
  while (stop != from && stop[-1] != '\n') --stop;
  return stop;
}

// How far a block has been searched.
struct Walk {
  const char* at;
  const char* line_from;  // the line at `at` begins here or later; a piece begins here, or there is an LF
  const char* line_to;    // and it begins here at the latest
};

// Whether the line at the walk's position may have a second piece.
bool IsLong(const Walk& walk) { return walk.at - walk.line_from > kSigPieceSize - kPlaces; }

// Compares all pieces but the first of the line at the walk's position, and moves to the line's end. Returns true when
// nothing is left to look for.
bool TryLongLine(const SigPass& pass, Walk* walk) {
  const char* next = SigPieceEnd(LastLine(walk->line_from, walk->line_to), pass.end);
  for (; next != pass.end && next[-1] != '\n'; next = SigPieceEnd(next, pass.end)) {
    if (TryPiece(pass, next)) return true;
  }
  walk->at = walk->line_from = walk->line_to = next == pass.end ? next : next - 1;
  return false;
}

// Searches until other bytes have to be compared, until a line may be long, or until fewer than `needed` bytes are
// left. Returns true when nothing is left to look for.
template <class... Probes>
bool SearchPlaces(const SigPass& pass, ptrdiff_t needed, Walk* walk, const Probes&... probes) {
  Walk next = *walk;
  const size_t changes = pass.Changes();
  for (; pass.Changes() == changes && pass.end - next.at >= needed; next.at += kPlaces) {
    Candidates candidates;
    Lanes line_ends = {};
    Lanes any = {};
    for (ptrdiff_t i = 0; i < kGroups; ++i) {
      const char* const group = next.at + i * kLanes;
      const Lanes here = Load(group) == '\n';
      candidates.lanes[i] = here & (MayBegin(group, probes) | ...);
      line_ends |= here;
      any |= candidates.lanes[i];
    }
    if (IsAnySet(line_ends)) {
      next.line_from = next.at;
      next.line_to = next.at + kPlaces;
    } else if (IsLong(next)) {
      break;
    }
    if (!IsAnySet(any)) continue;
    any = Lanes{};
    for (ptrdiff_t i = 0; i < kGroups; ++i) {
      candidates.lanes[i] &= (MayEnd(next.at + i * kLanes, probes) | ...);
      any |= candidates.lanes[i];
    }
    if (IsAnySet(any) && TryLines(pass, next.at, candidates)) return true;
  }
  *walk = next;
  return false;
}

template <class... Wanted>
bool SearchLines(const SigPass& pass, Walk* walk, const Wanted&... wanted) {
  const ptrdiff_t needed = kPlaces + 1 + static_cast<ptrdiff_t>(std::max({wanted.size...}));
  while (pass.end - walk->at >= needed) {
    if (SearchPlaces(pass, needed, walk, Probe(wanted)...)) return true;
    if (IsLong(*walk) && TryLongLine(pass, walk)) return true;
  }
  return false;
}

bool SearchWanted(const SigPass& pass, Walk* walk) {
  if (!IsAsked(*pass.msgid)) return SearchLines(pass, walk, *pass.reply);
  if (!IsAsked(*pass.reply) || pass.scan->has_parent) return SearchLines(pass, walk, *pass.msgid);
  return SearchLines(pass, walk, *pass.msgid, *pass.reply);
}

}  // namespace

// MSGIDs differ most often in their last bytes.
SigWanted::SigWanted(const char* msgid)
    : text(strchr(msgid, '\t') == nullptr ? msgid : ""),
      size(strlen(text)),
      field_end(size < kSigPieceSize ? static_cast<ptrdiff_t>(size) : -1),
      probes{size > 1 ? size - 2 : 0, size > 0 ? size - 1 : 0},
      misses(0) {}

const char* SigPieceEnd(const char* piece, const char* end) {
  const ptrdiff_t left = std::min(kSigPieceSize, end - piece);
  const void* const line_end = memchr(piece, '\n', static_cast<size_t>(left));
  return line_end != nullptr ? static_cast<const char*>(line_end) + 1 : piece + left;
}

bool SearchSigBlock(const char* begin, const char* end, SigWanted* msgid, SigWanted* reply, SigScan* scan) {
  const SigPass pass = {end, msgid, reply, scan};
  if (pass.IsDone() || begin == end) return pass.IsDone();
  Walk walk = {begin, begin, begin};
  if (TryPiece(pass, begin) || SearchWanted(pass, &walk)) return true;
  for (const char* piece = LastLine(walk.line_from, walk.line_to); piece != end; piece = SigPieceEnd(piece, end)) {
    if (TryPiece(pass, piece)) return true;
  }
  return false;
}
