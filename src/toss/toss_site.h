// What every step of a toss needs to know of the system it tosses into.
#pragma once

#include "app/run_lock.h"
#include "bbs/conference_table.h"
#include "bbs/message_base.h"

struct TossSite {
  MessageBase base;
  RunLock* lock;
  const char* bad_msgs_dir;  // where packets that cannot be finished are kept for review
  const ConferenceTable* conferences;
};
