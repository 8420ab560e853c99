// One conference's message base, read whole: what its four files hold, without a judgement.
//
// A base is read one file at a time and only what the judges need of it is kept, so that the memory is that of the
// largest file and of one conference's headers.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "app/site_paths.h"
#include "bbs/records.h"

// A file as it stood when it was read.
struct BaseFile {
  BasePath place;
  bool exists = false;
  int64_t size = 0;      // bytes
  int64_t modified = 0;  // seconds since 1970-01-01 UTC

  std::string Path() const { return place.text; }
};

// What a header's name tells of the checksum that belongs to it.
struct NameModel {
  uint32_t crc = 0;
  bool whole = false;  // else it fills its field or holds a NUL, and the checksum may be over a longer name
};

struct HeaderModel {
  int32_t number = 0;
  int32_t thread = 0;
  uint16_t where = 0;    // first DAT record
  uint16_t records = 0;  // DAT records
  NameModel from;
  NameModel to;
  bool blank = false;  // nothing but zero bytes
  bool deleted = false;
  bool sent = false;
  bool reply = false;
  bool netmail = false;
  bool holed = false;    // a text of it has lost its end: zero bytes stand within its length
  bool inbound = false;  // came from the network: marked sent, and with the address of its origin
};

// What a DAT record shows of a text that was lost.
enum TextMark : uint8_t {
  kTextThere,
  kTextHoled,  // zero bytes stand within its length
  kTextBlank,  // it is zero throughout, as that of an empty message is, too
};

// A line of the SIG file, as a piece of at most kSigPieceSize bytes.
struct SigLine {
  size_t at = 0;          // where it begins in the text
  size_t size = 0;        // bytes, without the line end
  size_t msgid_size = 0;  // bytes before the first tab
  int32_t number = 0;     // behind the tab; 0 without one
  bool has_tab = false;
  bool ended = false;    // by a line end
  bool of_scan = false;  // by that of a scan, CR LF
};

struct BaseModel {
  int32_t conference = 0;
  BaseFile ptr;
  BaseFile idx;
  BaseFile dat;
  BaseFile sig;
  std::vector<HeaderModel> headers;
  std::vector<IdxRecord> index;
  std::vector<TextMark> texts;  // of each DAT record
  std::string sig_text;
  std::vector<SigLine> lines;
  bool steady = true;  // no file changed while they were read

  std::string_view Msgid(const SigLine& line) const {
    return std::string_view(sig_text).substr(line.at, line.msgid_size);
  }
  int64_t DatCount() const { return static_cast<int64_t>(texts.size()); }
  int64_t TextEnd() const;    // the DAT record behind the last one that a header refers to, there or not
  int32_t Highest() const;    // the highest MsgNumber, 0 when none is positive
  size_t EndedLines() const;  // how many lines stand before the one at the end that has no end, in however many pieces
};

// Whether a message has lost a part of its text. One of a single record that is zero may as well be empty.
bool HasLostText(const BaseModel& model, const HeaderModel& header);

// Reads the four files; absent ones are empty. Throws NotAnswered when one cannot be read.
BaseModel ReadBaseModel(const MessageBase& base, int32_t conference);
