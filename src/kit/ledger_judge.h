// Judges what became of the messages of one packet.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "kit/ledger.h"
#include "kit/ledger_base.h"
#include "kit/ledger_source.h"
#include "kit/toss_history.h"

// A toss of the packet, as recorded in the log.
struct PacketToss {
  const LoggedPacket* packet = nullptr;
  bool done = false;  // the toss went on after the packet
};

struct LedgerJudge {
  const TossHistory& history;
  LedgerBase* base;
  std::function<void(const LedgerMessage&)> take;

  // Judges each message of a packet whose file exists, by all tosses of it.
  void JudgePacket(const SourcePacket& packet, const std::vector<PacketToss>& tosses, bool inbound) const;

  // Returns the messages of a packet that no longer exists, from position `from` on, as the log has them.
  void TellUnknown(const std::vector<PacketToss>& tosses, size_t from) const;
};
