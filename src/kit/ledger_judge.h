// What became of the messages of one packet.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "kit/ledger.h"
#include "kit/ledger_base.h"
#include "kit/ledger_source.h"
#include "kit/toss_history.h"

// A toss of the packet, as far as the log knows it.
struct PacketToss {
  const LoggedPacket* packet = nullptr;
  bool done = false;  // the toss went on behind the packet
};

struct LedgerJudge {
  const TossHistory& history;
  LedgerBase* base;
  std::function<void(const LedgerMessage&)> take;

  // Judges each message of a packet of a file that is inbound or not any more, by all tosses of it.
  void JudgePacket(const SourcePacket& packet, const std::vector<PacketToss>& tosses, bool inbound) const;

  // The messages that the log tells of behind the first `from`, of a packet that is gone.
  void TellUnknown(const std::vector<PacketToss>& tosses, size_t from) const;
};
