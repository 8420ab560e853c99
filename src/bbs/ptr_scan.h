// One pass over a conference's PTR file that finds all that has to be known before a message is added: the highest
// number, whether the parent has a live header (one that is not deleted), and whether every live header is sound.
//
// The BBS may change the file between two messages, so the pass is made again for each; nothing is cached.
#pragma once

#include <cstdint>

#include "platform/os.h"

// Why a live header is unsound.
enum PtrFault { kPtrSound, kPtrNoRecords, kPtrPastDat };

struct PtrScan {
  bool opened = false;
  bool close_failed = false;
  int64_t records = 0;       // whole records read
  int32_t highest = 0;       // the highest MsgNumber, deleted headers included; 0 when none is positive
  bool parent_live = false;  // a header that is not deleted has the parent's number

  // The first unsound header.
  PtrFault fault = kPtrSound;
  int64_t fault_record = 0;  // its position in the file, from 0
  int32_t fault_number = 0;  // its MsgNumber, Where and Records
  uint16_t fault_where = 0;
  uint16_t fault_records = 0;
};

// Reads the PTR file at `place`; `parent` is the MsgNumber to look for (below 1: none) and `dat_records` how many
// records the DAT file has. Returns an empty scan for a file that cannot be opened.
PtrScan ScanPtrFile(const OsPlace& place, int32_t parent, int64_t dat_records);
