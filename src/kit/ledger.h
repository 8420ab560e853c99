// What became of every message of every inbound file, according to the files, the message base and TOSSER.LOG.
//
// INBOUND and the processed files are listed before the log is read, and the base is read after it. So the log has all
// files of the processed directory, and the base all messages that the log calls stored, even while a run is at work.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "kit/kit_site.h"

enum class Fate { kStored, kRemoved, kDuplicate, kDropped, kDamaged, kWaiting, kUnknown, kUnaccounted };
constexpr size_t kFates = 8;

// Returns the word for a fate in the output: "stored", "removed", and so on.
const char* NameOf(Fate fate);

enum class FileState {
  kProcessed,
  kBad,       // processed, with a damaged packet
  kRetained,  // tossed, but still inbound
  kWaiting,   // inbound, and not completely tossed yet
  kGone,      // neither inbound nor among the processed files
};

const char* NameOf(FileState state);

struct LedgerFile {
  std::string name;
  std::string path;  // empty when it is gone
  FileState state = FileState::kWaiting;
  std::string when;  // "2026-11-22 03:10:00": of its last line in the log, otherwise its modification time
};

struct LedgerMessage {
  std::optional<std::string> entry;  // of a bundle
  size_t number = 0;                 // position in its packet, from 1
  std::string msgid;                 // empty for none or unknown
  Fate fate = Fate::kUnaccounted;
  std::optional<int32_t> conference;
  std::optional<int32_t> message_number;
  bool parked = false;   // stored in the catch-all
  bool deleted = false;  // stored, and deleted since
  std::string reason;    // a sentence for the reader; may be empty
};

struct LedgerQuestion {
  std::string log;
  std::string since;               // the beginning of a stamp; empty for no limit
  std::string until;               // likewise
  std::vector<std::string> files;  // names; empty for all
  std::string msgid;               // empty for all
};

struct LedgerSums {
  std::array<size_t, kFates> of = {};
  size_t files = 0;
  std::string unsettled;  // why the ledger may be outdated at once; empty if it is not

  size_t Of(Fate fate) const { return of[static_cast<size_t>(fate)]; }
  size_t In() const;
};

// Called while the ledger is made, file by file in the order of their times.
struct LedgerReader {
  std::function<void(const LedgerFile&)> file;
  std::function<void(const LedgerFile&, const LedgerMessage&)> message;
  std::function<void(size_t done, size_t all)> progress;  // in bytes
};

// Throws NotAnswered when the log or a file that is needed cannot be read.
LedgerSums MakeLedger(const KitSite& site, const LedgerQuestion& question, const LedgerReader& reader);
