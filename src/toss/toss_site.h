// What every step of a toss needs to know of the system it tosses into.
#pragma once

#include "app/run_lock.h"
#include "app/site_paths.h"
#include "bbs/base_sync.h"
#include "bbs/conference_table.h"
#include "toss/bad_packet.h"

struct TossSite {
  MessageBase base;
  RunLock* lock;
  BadPackets* bad_packets;
  const ConferenceTable* conferences;
  ConferenceSet* touched;  // in which a message of the source was stored or found
};
