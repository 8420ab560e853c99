// The conference table: which conferences there are, which of them are networked, and which takes inbound netmail.
//
// CVMCONF.DAT (format: the Corvane BBS) is a flat array of 128-byte MsgSystem records; record i, from 0, describes
// conference i + 1. The file belongs to the BBS and is only read.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/path.h"

constexpr size_t kMostConferences = 200;
constexpr int32_t kNoConference = -1;

struct ConferenceEntry {
  int32_t Number = 0;        // from 1, the position in the file
  char ConfName[41] = {};    // trimmed; may be empty
  char NetIDName[16] = {};   // the AREA tag, trimmed and in capitals; may be empty
  bool Routed = false;       // takes part in echomail
  bool NetMailConf = false;  // takes netmail
  bool PublicMsgConf = false;
  uint16_t LineWidth = 0;
};

struct ConferenceTable {
  ConferenceEntry entries[kMostConferences];
  size_t count = 0;
  int32_t NetmailConference = kNoConference;  // takes inbound netmail
};

// Whether a toss or a scan ever reads or writes the conference.
inline bool IsNetworked(const ConferenceEntry& entry) { return entry.Routed || entry.NetMailConf; }

// Whether the tag of a routed conference is valid, and whether two routed conferences have the same.
bool HasUsableTag(const ConferenceEntry& entry);
bool ClaimSameTag(const ConferenceEntry& earlier, const ConferenceEntry& entry);

enum TableFault {
  kTableRead,
  kTablePathTooLong,
  kTableNotOpened,
  kTableNotSized,
  kTableNotAligned,  // it is not whole records
  kTableEmpty,
  kTableTooLong,  // more than kMostConferences
  kTableReadShort,
  kTableNotClosed,
};

// The result of reading the table.
struct TableReading {
  TableFault fault = kTableRead;
  Path path;            // of the file
  int64_t records = 0;  // by the size of the file
  int32_t unread = 0;   // the number of the first conference that could not be read
};

// Reads CVMCONF.DAT from `conf_dir`; nothing is logged, and no netmail conference is chosen.
TableReading ReadConferenceTable(const char* conf_dir, ConferenceTable* table);

enum NetmailKind {
  kNetmailNowhere,     // no conference takes netmail
  kNetmailPrivate,     // the only one that takes netmail and is not public
  kNetmailPublic,      // the only one that takes netmail, which is public
  kNetmailTwoPrivate,  // several that take netmail are not public
  kNetmailTwoPublic,   // several take netmail, and all are public
};

struct NetmailChoice {
  NetmailKind kind = kNetmailNowhere;
  int32_t conference = kNoConference;
};

// Chooses the conference for inbound netmail; nothing is logged.
NetmailChoice ChooseNetmailConference(const ConferenceTable& table);

// Reads CVMCONF.DAT from `conf_dir`. Returns 0, or -1 after logging why.
int LoadConferences(const char* conf_dir, ConferenceTable* table);

// Checks the tags of the routed conferences and chooses the netmail conference; with `verbose` lists every networked
// conference. Returns 0, or -1 when at least one error has been logged.
int ValidateConferences(bool verbose, ConferenceTable* table);
