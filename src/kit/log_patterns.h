// The lines of TOSSER.LOG that tell what became of runs, files and messages, and the values in them.
//
// A pattern is the format string of the call that prints the line, letter by letter (a test holds them to each other).
// Of a line with names and subjects nothing is read from "From=" on: what follows is the mail's own. Of other texts
// that come with mail only the end of the line tells where they end.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

enum class LogEvent {
  kOther,  // a line without a pattern

  // Runs. Numbers: what the line counts.
  kTossStarted,
  kScanStarted,
  kCheckStarted,
  kConferencesLoaded,  // a toss or scan has its lock and begins its work
  kTossComplete,       // files
  kScanComplete,       // messages
  kNothingExported,    // the scan is complete
  kCommitErrors,       // the scan is complete, with errors
  kCheckFailed,        // issues
  kCheckPassed,
  kLockRefused,  // the run ends, for another is at work
  kAborted,      // the run ends
  kLockLost,     // the run ends

  // Files of a toss. The text is their name, or that of the entry.
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

  // Messages of a toss. The first number is the message's in its packet, but of kStored.
  kRemark,     // something about a message that is stored all the same
  kParked,     // conference; the text is the area
  kStored,     // conference, MsgNumber
  kDuplicate,  // conference; the text is the MSGID
  kNoNetmail,
  kNoArea,      // the text is the area
  kRefused,     // the file stays
  kTextFailed,  // the same, and the rest of its packet is not reached; no number

  // Messages and bundles of a scan.
  kQueued,     // conference, MsgNumber
  kPublished,  // bytes, messages; the text is the bundle's path and the packet's name
};

struct LogRecord {
  std::string_view stamp;  // "2026-11-22 03:10:00", local time
  std::string_view text;   // what stands behind the stamp
  LogEvent event = LogEvent::kOther;
  std::array<int64_t, 4> numbers = {};
  std::string_view value;  // the text that the line names
};

// Tells what the text of a line is, and takes the values out of it.
void ReadLogText(std::string_view text, LogRecord* record);
