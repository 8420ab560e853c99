#include "kit/log_patterns.h"

#include <charconv>
#include <vector>

#include "base/ascii.h"

namespace {

struct LogPattern {
  LogEvent event;
  std::string_view format;
};

constexpr LogPattern kPatterns[] = {
    {LogEvent::kStored, "  -> wrote conf %d msg #%d  From='%s' To='%s' Subj='%s' (%d records)"},
    {LogEvent::kDuplicate, "  msg %d: duplicate (MSGID %s already seen in conf %d) -- SKIPPED"},
    {LogEvent::kParked,
     "  msg %d: AREA:%s has no matching conference -- parked in catch-all conf %d (see BADAREAS.LST)"},
    {LogEvent::kNoArea,
     "  msg %d: AREA:%s has no matching conference and no catch-all configured -- SKIPPED (logged to BADAREAS.LST)"},
    {LogEvent::kNoNetmail, "  msg %d: netmail with no NetMailConf=1 conference configured -- SKIPPED"},
    {LogEvent::kRefused, "  msg %d: message-base append failed; source packet will be retained"},
    {LogEvent::kTextFailed, "  ERROR: could not allocate/clean message body; source packet will be retained"},
    {LogEvent::kRemark,
     "  msg %d: subject looks like a reply but no REPLY: kludge present -- storing as non-threaded (safe fallback)"},
    {LogEvent::kRemark,
     "  msg %d: reply to MSGID %s, but parent not found locally in conf %d -- storing as non-threaded (safe fallback)"},

    {LogEvent::kFound, "Found: %s"},
    {LogEvent::kUnreadable, "Could not read inbound file %s; skipping"},
    {LogEvent::kListingCut, "ERROR: could not read inbound dir %s to its end; the rest waits for the next run"},
    {LogEvent::kIgnored, "Ignored %d unrelated inbound file(s) (not ZIP bundles or valid FTS-0001 packets)."},
    {LogEvent::kZipEntry, "  ZIP entry: %s (method=%u, %u -> %u bytes)"},
    {LogEvent::kEntryFailed, "  ERROR: out of memory inflating ZIP entry '%s'"},
    {LogEvent::kEntryFailed, "  ERROR: inflateInit2 failed (code %d) for entry '%s'"},
    {LogEvent::kEntryFailed, "  ERROR: inflate failed/incomplete (code %d, produced %lu/%u) for entry '%s'"},
    {LogEvent::kEntryFailed, "  ERROR: streaming/data-descriptor ZIP entry '%s' is unsupported; retaining bundle"},
    {LogEvent::kEntryFailed, "  ERROR: ZIP entry '%s' expands to %u bytes (limit %u); retaining bundle"},
    {LogEvent::kEntryFailed, "  ERROR: stored ZIP entry '%s' has inconsistent sizes"},
    {LogEvent::kEntryFailed, "  ERROR: unsupported ZIP compression method %u for entry '%s'"},
    {LogEvent::kPacket, "  packet: orig %u:%u/%u.%u -> dest %u:%u/%u.%u  (month field is 0-based; %04d-%02d-%02d)"},
    {LogEvent::kNotAPacket,
     "  does not look like a valid FTS-0001 packet (bad header/type-2 marker) -- not touching this file"},
    {LogEvent::kPacketRead, "  %d message(s) parsed from this packet"},
    {LogEvent::kPacketFault, "  unexpected message-type word 0x%04x at offset %zu, stopping"},
    {LogEvent::kPacketFault, "  truncated message header, stopping"},
    {LogEvent::kPacketFault, "  truncated message string field, stopping"},
    {LogEvent::kPacketFault, "  truncated message text, stopping"},
    {LogEvent::kSaved, "  saved unprocessable packet data to %s for review (%s)"},
    {LogEvent::kNotSaved, "  ERROR: could not save bad packet for review (tried %s)"},
    {LogEvent::kFileLeft, "  no ZIP local file headers found -- not a ZIP bundle after all?"},
    {LogEvent::kFileRetained, "  retaining packet in inbound because a message-base append failed"},
    {LogEvent::kFileRetained, "  retaining ZIP in inbound because at least one entry failed"},
    {LogEvent::kNotDurable, "  ERROR: could not make stored mail durable; source remains inbound"},
    {LogEvent::kMoved, "  moved to %s"},
    {LogEvent::kNotMoved, "  ERROR: processed but could not move to %s; source remains inbound"},
    {LogEvent::kDeleted, "  deleted (KEEPPROCESSED no)"},
    {LogEvent::kNotDeleted, "  ERROR: processed but could not delete %s"},

    {LogEvent::kTossStarted, "=== cvtoss32 v%s %s -toss run starting ==="},
    {LogEvent::kScanStarted, "=== cvtoss32 v%s %s -scan run starting ==="},
    {LogEvent::kCheckStarted, "=== cvtoss32 v%s %s -check starting (read-only diagnostics) ==="},
    {LogEvent::kConferencesLoaded, "Loaded %d conference(s) from CVMCONF.DAT"},
    {LogEvent::kTossComplete, "=== cvtoss32 -toss run complete: %d file(s) processed ==="},
    {LogEvent::kNothingExported, "=== cvtoss32 -scan run complete: 0 message(s) exported ==="},
    {LogEvent::kScanComplete, "=== cvtoss32 -scan run complete: %d message(s) exported and committed ==="},
    {LogEvent::kCommitErrors,
     "=== cvtoss32 -scan completed with COMMIT ERRORS: bundle is valid and retained; review log before retry ==="},
    {LogEvent::kCheckFailed, "=== cvtoss32 -check FAILED: %d issue(s) require attention ==="},
    {LogEvent::kCheckPassed, "=== cvtoss32 -check PASSED: configuration and FTN message bases look safe ==="},
    {LogEvent::kLockRefused,
     "Aborting: another instance appears to already be running (%s exists and looks fresh). If you're sure nothing else is running, it'll auto-clear after %d minutes, or delete it manually."},
    {LogEvent::kLockRefused, "Aborting: another cvtoss32 -toss/-scan instance appears to be running (%s)"},
    {LogEvent::kAborted, "Aborting: conference configuration validation failed"},
    {LogEvent::kAborted, "Aborting: one or more FTN conference message bases failed preflight"},
    {LogEvent::kAborted, "Aborting: unable to verify that Corvane nodes are free"},
    {LogEvent::kAborted, "Aborting: node %d remained in use by UserNo %d (Mode=0x%02X) for %d minutes"},
    {LogEvent::kAborted, "FATAL: could not open inbound dir %s"},
    {LogEvent::kLockLost, "ERROR: lost the run lock %s; stopping"},

    {LogEvent::kQueued, "  queued conf %d msg #%d (NETMAIL)  From='%s' To='%s'  Dest=%d:%d/%d  Subj='%s'  MSGID=%s%s"},
    {LogEvent::kQueued, "  queued conf %d msg #%d  From='%s' To='%s' Subj='%s'  MSGID=%s%s"},
    {LogEvent::kPublished, "Published complete bundle: %s  (%lu byte packet, entry '%s', %d message(s))"},
};

enum class Piece { kText, kNumber, kHex, kValue };

struct PatternPiece {
  Piece kind = Piece::kText;
  std::string_view text = {};  // of kText
};

struct ParsedPattern {
  LogEvent event = LogEvent::kOther;
  bool open_ended = false;  // text from mail follows
  std::vector<PatternPiece> pieces;
};

ParsedPattern Parse(const LogPattern& pattern) {
  ParsedPattern parsed;
  parsed.event = pattern.event;
  std::string_view format = pattern.format;
  const size_t from = format.find("From=");
  parsed.open_ended = from != std::string_view::npos;
  if (parsed.open_ended) format = format.substr(0, from);
  while (!format.empty()) {
    if (format[0] != '%') {
      parsed.pieces.push_back({Piece::kText, format.substr(0, format.find('%'))});
      format.remove_prefix(parsed.pieces.back().text.size());
      continue;
    }
    const size_t letter = format.find_first_of("sduxX");
    const char kind = format[letter];
    parsed.pieces.push_back({kind == 's' ? Piece::kValue : kind == 'd' || kind == 'u' ? Piece::kNumber : Piece::kHex});
    format.remove_prefix(letter + 1);
  }
  return parsed;
}

constexpr size_t kTellingPlace = 2;  // the offset of a byte in which most lines differ
constexpr size_t kBytes = 256;

// The patterns by their byte at kTellingPlace; no format has a value as early as that.
struct Patterns {
  std::array<std::vector<ParsedPattern>, kBytes> by_byte;

  Patterns() {
    for (const LogPattern& pattern : kPatterns) {
      const size_t place = pattern.format.find('%') <= kTellingPlace ? 0 : kTellingPlace;
      by_byte[static_cast<unsigned char>(place == 0 ? '\0' : pattern.format[place])].push_back(Parse(pattern));
    }
  }
};

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool IsPartOf(char c, Piece kind) {
  return IsDigit(c) || (kind == Piece::kHex && UpperAscii(c) >= 'A' && UpperAscii(c) <= 'F');
}

bool TakeNumber(std::string_view digits, Piece kind, int64_t* number) {
  const char* const end = digits.data() + digits.size();
  const std::from_chars_result read = std::from_chars(digits.data(), end, *number, kind == Piece::kHex ? 16 : 10);
  return read.ec == std::errc() && read.ptr == end;
}

// Compares the fixed text before the first value, then the fixed text after the last one, so that text from mail cannot
// decide where a value from mail ends. The fixed text between two values is not compared.
bool MatchesPattern(const ParsedPattern& pattern, std::string_view text, LogRecord* record) {
  const std::vector<PatternPiece>& pieces = pattern.pieces;
  size_t place = 0;  // index of the next number
  size_t front = 0;
  for (; front < pieces.size() && pieces[front].kind != Piece::kValue; ++front) {
    const PatternPiece& piece = pieces[front];
    if (piece.kind == Piece::kText) {
      if (text.substr(0, piece.text.size()) != piece.text) return false;
      text.remove_prefix(piece.text.size());
      continue;
    }
    size_t size = !text.empty() && text[0] == '-' ? 1 : 0;
    while (size < text.size() && IsPartOf(text[size], piece.kind)) ++size;
    int64_t number = 0;
    if (!TakeNumber(text.substr(0, size), piece.kind, &number)) return false;
    text.remove_prefix(size);
    if (place < record->numbers.size()) record->numbers[place++] = number;
  }
  if (front == pieces.size()) return pattern.open_ended || text.empty();
  std::array<int64_t, 4> behind = {};
  size_t count = 0;
  for (size_t back = pieces.size() - 1; pieces[back].kind != Piece::kValue; --back) {
    const PatternPiece& piece = pieces[back];
    if (piece.kind == Piece::kText) {
      if (text.size() < piece.text.size() || text.substr(text.size() - piece.text.size()) != piece.text) return false;
      text.remove_suffix(piece.text.size());
      continue;
    }
    size_t size = 0;
    while (size < text.size() && IsPartOf(text[text.size() - size - 1], piece.kind)) ++size;
    int64_t number = 0;
    if (!TakeNumber(text.substr(text.size() - size), piece.kind, &number)) return false;
    text.remove_suffix(size);
    if (count < behind.size()) behind[count++] = number;
  }
  while (count > 0 && place < record->numbers.size()) record->numbers[place++] = behind[--count];
  record->value = text;
  return true;
}

}  // namespace

void ReadLogText(std::string_view text, LogRecord* record) {
  static const Patterns patterns;
  record->text = text;
  record->event = LogEvent::kOther;
  const auto telling = [&](size_t byte) {
    for (const ParsedPattern& pattern : patterns.by_byte[byte]) {
      record->numbers = {};
      record->value = {};
      if (!MatchesPattern(pattern, text, record)) continue;
      record->event = pattern.event;
      return true;
    }
    return false;
  };
  if (text.size() <= kTellingPlace || telling(static_cast<unsigned char>(text[kTellingPlace])) || telling(0)) return;
  record->numbers = {};
  record->value = {};
}
