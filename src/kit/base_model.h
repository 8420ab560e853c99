// One conference's message base, read whole: what its four files hold, without judging it.
//
// Only what the judges need of the records is kept, so that the memory needed is less than that of the files.
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

// A name in a header, and the checksum that its index entry should have.
struct NameModel {
  uint32_t crc = 0;
  bool whole = false;  // if not, it fills its field or holds a NUL, and the index may have a longer name's checksum
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
  bool holed = false;    // one of its text fields has zero bytes within its length: the end of that text is lost
  bool inbound = false;  // came from the network: marked sent, with the address of its origin
};

// Whether a DAT record has lost text.
enum TextMark : uint8_t {
  kTextThere,
  kTextHoled,  // zero bytes within its length
  kTextBlank,  // zero throughout; the record of an empty message is so, too
};

// A line of the SIG file, or a piece of at most kSigPieceSize bytes of a longer one.
struct SigLine {
  size_t at = 0;          // its offset in the text
  size_t size = 0;        // bytes, without the line end
  size_t msgid_size = 0;  // bytes before the first tab
  int32_t number = 0;     // after the tab; 0 without a tab
  bool has_tab = false;
  bool ended = false;    // has a line end
  bool holed = false;    // holds zero bytes: runs read only the bytes before them
  bool of_scan = false;  // has the line end that a scan writes, CR LF
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
  int64_t TextEnd() const;    // one past the last DAT record that a header refers to, whether it exists or not
  int32_t Highest() const;    // the highest MsgNumber; 0 when none is positive
  size_t EndedLines() const;  // the count of `lines` without the pieces of a last line that has no end
};

// Whether a message has lost part of its text. A single record of zeros may also be an empty message, and is not lost.
bool HasLostText(const BaseModel& model, const HeaderModel& header);

// Reads the four files; absent ones are empty. Throws NotAnswered when one cannot be read.
BaseModel ReadBaseModel(const MessageBase& base, int32_t conference);
