// Adding one message to a conference: in all four files or in none.
//
// Invariants:
// 1. Every check, number, record and offset is final before the first file is opened.
// 2. The text is written before the index, the index before the header, the header before the SIG line: a reader that
//    follows a header always finds its text.
// 3. Each file is written at the size it had when it was last inspected, never "at the end".
// 4. Every file is closed before anything is rolled back, for a later close might still write.
// 5. After a failure at any step every file is cut back to its old size, or removed if it is new, and that is verified.
//
// Steps: plan; check the run lock; open DAT, IDX, PTR, SIG; write them; close them; log, or roll back.
#pragma once

#include <cstddef>
#include <cstdint>

#include "app/run_lock.h"
#include "bbs/base_files.h"

// A message to be added. The texts are NUL-terminated; one that is longer than its field is cut.
struct NewMessage {
  const char* date = "";  // in the form of the message base, at most 17 characters
  const char* from = "";
  const char* to = "";
  const char* subject = "";
  const char* origin = "";  // origin net and node, "250/10"
  const char* msgid = "";   // at most kLongestMsgid characters; empty: the SIG file is not touched
  uint16_t attribute = 0;   // of the packed message
  bool netmail = false;
  int32_t highest = 0;            // the highest MsgNumber in the PTR file, 0 when none
  int32_t parent = -1;            // the MsgNumber it replies to, -1 for none
  bool parent_live = false;       // a header with that number exists and is not deleted
  const uint8_t* body = nullptr;  // lines ended by kLineEndByte
  size_t body_size = 0;           // bytes
};

// A failed append has been logged; every file is as it was before the call, unless the CRITICAL line was logged.
// When the run lock is lost, which has been logged too, no file was opened.
enum AppendResult { kAppended, kAppendFailed, kAppendLostLock };

// Appends `message` to `conference`, whose preflight has just found `found`.
AppendResult CheckedAppend(const MessageBase& base, RunLock* lock, int32_t conference, const PreflightResult& found,
                           const NewMessage& message);
