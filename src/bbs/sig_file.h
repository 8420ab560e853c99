// The SIG file of a conference: which MSGID belongs to which message number.
//
// The message base has no field for network message identifiers, so this system adds a file, CVMSGnn.SIG: a text line
// "MSGID<tab>number" for every message that has one, in the order they were stored. Lines of the toss end in LF, those
// of the scan in CR LF; readers accept both. Several lines may have the same MSGID: the first counts.
#pragma once

#include <cstddef>
#include <cstdint>

#include "app/site_paths.h"
#include "bbs/sig_search.h"

constexpr size_t kLongestMsgid = 127;
constexpr size_t kSigLineSize = 160;  // the longest MSGID, a tab, a number, the line end and the NUL

// Forms the path of the SIG file of `conference`. Returns 0, or -1 when it is too long.
int FormatSigPath(const MessageBase& base, int32_t conference, BasePath* path);

// Looks in the SIG file at `place` for a message's own MSGID and for that of the message it replies to; an empty text
// is not looked for. Of a file that cannot be opened, or read to its end, the part that could be read counts; nothing
// is logged. When the message's own MSGID is found the parent may be missing from the result.
SigScan ScanSigFile(const OsPlace& place, const char* msgid, const char* reply);

constexpr size_t kFoundMsgidSize = 64;  // 63 characters and the NUL

// Finds the MSGID of the first line with the given number in the SIG file of `conference`, cut to 63 characters.
// Returns true, or false when there is none or the file cannot be read.
bool SigFindMsgid(const MessageBase& base, int32_t conference, int32_t number, char (&msgid)[kFoundMsgidSize]);

// Appends the line of one message to the SIG file of `conference`, which is created when missing. An empty MSGID adds
// no line; one longer than kLongestMsgid is cut. Returns 0, or -1 when any step failed (part of the line may then have
// been written).
int SigAppend(const MessageBase& base, int32_t conference, const char* msgid, int32_t number);
