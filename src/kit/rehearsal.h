// A rehearsal: runs the real program on a copy of the site and reports what it did there.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kit/kit_site.h"
#include "kit/rehearsal_copy.h"

// Text from mail is in code page 437.
struct RehearsedMessage {
  int32_t number = 0;
  std::string from, to, subject;
  std::optional<int32_t> parent;
};

struct RehearsedConference {
  int32_t number = 0;
  std::string name;
  int64_t before = 0;  // headers
  int64_t after = 0;
  std::vector<RehearsedMessage> stored;
  std::vector<RehearsedMessage> sent;  // marked sent by the run
};

struct RehearsedFile {
  std::string path;
  std::string fate;   // "moved", "deleted" or "stays"
  std::string moved;  // its new path if moved, otherwise empty
};

struct RehearsedExport {
  std::string from, to, subject, msgid;
  std::optional<std::string> area;  // none for netmail
};

struct RehearsedBundle {
  std::string directory;
  int64_t size = 0;
  std::vector<RehearsedExport> messages;
};

struct Rehearsal {
  int status = 0;  // of the program
  std::vector<std::string> lines;
  std::vector<RehearsedConference> conferences;  // those that would change
  std::vector<RehearsedFile> files;              // of a toss
  std::vector<RehearsedBundle> bundles;          // of a scan
  std::vector<int64_t> saved;                    // the sizes of the packets saved for review
  std::vector<std::string> unknown_areas;
  std::string serial_before;  // what CVOUTBOUND.SEQ holds
  std::string serial_after;
  std::string hindrance;               // what would keep the real run from starting; empty for nothing
  std::vector<std::string> unsettled;  // why the real run may do something else
};

// Copies what the run needs, runs a copy of `program` on it, and compares the copy before and after. Throws
// NotAnswered.
Rehearsal Rehearse(const KitSite& site, RehearsedRun mode, const std::string& program, const RehearsalPlace& place);
