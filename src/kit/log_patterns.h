// Recognises the lines of TOSSER.LOG about runs, files and messages, and extracts their values.
//
// A pattern is the format string of the call that prints the line (a test compares the two). In a line with names and
// subjects nothing is read from "From=" on: that text comes from mail. Other texts from mail extend to the fixed text
// at the end of the line.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

enum class LogEvent {
  kOther,  // matches no pattern

  // Runs. The numbers are the counts in the line.
  kTossStarted,
  kScanStarted,
  kCheckStarted,
  kConferencesLoaded,  // a toss or scan has taken its lock and begins its work
  kTossComplete,       // files
  kScanComplete,       // messages
  kNothingExported,    // the scan is complete
  kCommitErrors,       // the scan is complete, with errors
  kCheckFailed,        // issues
  kCheckPassed,
  kLockRefused,  // the run ends because another is at work
  kAborted,      // the run ends
  kLockLost,     // the run ends

  // Files of a toss. The text is the name of the file or of the entry.
  kFound,
  kUnreadable,
  kListingCut,
  kIgnored,   // files
  kZipEntry,  // method, compressed size, size
  kEntryFailed,
  kPacket,
  kNotAPacket,
  kPacketRead,  // messages
  kPacketFault,
  kSaved,  // a bad packet; the text is its path, " for review (" and the reason
  kNotSaved,
  kFileLeft,
  kFileRetained,
  kNotDurable,
  kMoved,
  kNotMoved,
  kDeleted,
  kNotDeleted,

  // Messages of a toss. The first number is the message's position in its packet, except for kStored.
  kRemark,     // a warning about a message that is stored nevertheless
  kParked,     // conference; the text is the area
  kStored,     // conference, MsgNumber
  kDuplicate,  // conference; the text is the MSGID
  kNoNetmail,
  kNoArea,      // the text is the area
  kRefused,     // the file stays
  kTextFailed,  // the file stays, and the rest of its packet is not read; no number

  // Messages and bundles of a scan.
  kQueued,     // conference, MsgNumber
  kPublished,  // messages; the text begins with the bundle's path
};

struct LogRecord {
  std::string_view stamp;  // "2026-11-22 03:10:00", local time
  std::string_view text;   // the line after its stamp
  LogEvent event = LogEvent::kOther;
  std::array<int64_t, 4> numbers = {};
  std::string_view value;  // the text that the line names
};

// Returns which line the text is, and its values.
void ReadLogText(std::string_view text, LogRecord* record);
