// A toss whose every call fails in turn.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "fault/fault_loop.h"
#include "unit/support/packet_bytes.h"
#include "unit/support/site.h"

// A message that the toss has to store.
struct SceneMessage {
  int conference = 1;
  std::string area = "GENERAL";  // empty: netmail
  std::string subject;
  std::string msgid;  // empty: none
  std::string reply;  // MSGID of its parent, empty: none
  std::string body = "Hello\x01";
  bool stored_before = false;  // the message base holds it already: it is a duplicate
};

struct TossScene {
  std::vector<SceneMessage> messages;
  std::function<std::string(const std::vector<PacketMessage>&)> source = PacketBytes;  // the one inbound file
  std::function<void(Site*)> lay;                                                      // what was there before
  std::function<void(ScopedDoor*)> spoil;                                              // fails in every run
};

// The file as it lies in the inbound directory.
constexpr char kSceneSource[] = "0000a1b2.su0";

// Plays the scene once without a fault of the loop's and asserts that it stores what it has to; then once for every
// fault, and asserts after each: whatever is stored is whole, nothing is damaged or left behind, nothing is lost (what
// is not stored is still in the inbound directory), every failure that matters has a line and the exit status, and a
// later run without faults stores every message with a MSGID exactly once.
void TryTossFaults(const TossScene& scene, FaultLoop loop = {});
