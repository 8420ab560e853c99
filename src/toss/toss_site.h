// What every step of a toss needs: the message base, the conferences and the run lock.
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
  ConferenceSet* touched;  // conferences in which a message of the source was stored or found
};
