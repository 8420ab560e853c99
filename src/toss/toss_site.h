// What every step of a toss needs to know of the system it tosses into.
#pragma once

#include "bbs/conference_table.h"

struct TossSite {
  const char* msg_dir;       // the message base
  const char* bad_msgs_dir;  // where packets that cannot be finished are kept for review
  const ConferenceTable* conferences;
};
