// Adding one message to a conference: all four files or none.
//
// Invariants:
// 1. Every check, number, record and offset is final before the first file is opened.
// 2. The text is written before the index, the index before the header, the header before the SIG line: a reader that
//    follows a header always finds its text.
// 3. Each file is written at the size it had when it was last inspected, never "at the end".
// 4. Every file is closed before anything is taken back, for a late close may still write.
// 5. A failure at any step gives every file back its old size, or removes it, and then verifies that.
//
// Steps: plan; look at the run lock; open DAT, IDX, PTR, SIG; write them; close them; log, or roll back.
#pragma once

#include <cstddef>
#include <cstdint>

#include "app/run_lock.h"
#include "bbs/base_files.h"

// A message to be added. The texts are NUL-terminated and longer ones than a field holds are cut there.
struct NewMessage {
  const char* date = "";  // as the message base writes it, at most 17 characters
  const char* from = "";
  const char* to = "";
  const char* subject = "";
  const char* origin = "";  // origin net and node, "250/10"
  const char* msgid = "";   // at most kLongestMsgid characters; empty: the SIG file is not touched
  uint16_t attribute = 0;   // of the packed message
  bool netmail = false;
  int32_t highest = 0;            // the highest MsgNumber in the PTR file, 0 when none
  int32_t parent = -1;            // the MsgNumber it replies to, -1 for none
  bool parent_live = false;       // a header with that number is there and not deleted
  const uint8_t* body = nullptr;  // lines ended by kLineEndByte
  size_t body_size = 0;           // bytes
};

// A failed append has been logged; every file is as it was before the call, unless the CRITICAL line was logged.
// Without the run lock, which has been logged too, nothing was touched.
enum AppendResult { kAppended, kAppendFailed, kAppendLostLock };

// Appends `message` to `conference`, whose preflight has just found `found`.
AppendResult CheckedAppend(const MessageBase& base, RunLock* lock, int32_t conference, const PreflightResult& found,
                           const NewMessage& message);
