// A toss whose calls fail one after the other.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "fault/fault_loop.h"
#include "unit/support/site.h"

// A message that the toss has to store.
struct SceneMessage {
  int conference = 1;
  std::string area = "GENERAL";  // empty: netmail
  std::string subject;
  std::string msgid;  // empty: none
  std::string reply;  // MSGID of its parent, empty: none
  std::string body = "Hello\x01";
  bool stored_before = false;  // it is in the message base already: a duplicate
  bool is_parked = false;      // no conference has its area: it goes to the catch-all conference
};

// What the one inbound file is.
enum class Packing {
  kPacket,
  kDamagedPacket,  // its last message is followed by bytes that are no message
  kBundle,         // of packets with a message each
};

// Whether the packet with that message is deflated in a bundle; else it is stored.
constexpr bool IsDeflated(size_t message) { return message % 2 == 0; }

struct TossScene {
  std::vector<SceneMessage> messages;
  Packing packing = Packing::kPacket;
  std::function<void(Site*)> lay;          // what was there before
  std::function<void(ScopedDoor*)> spoil;  // fails in every run
};

// The path of the file in the inbound directory.
constexpr char kSceneSource[] = "0000a1b2.su0";

// Its bytes.
std::string SourceOf(const TossScene& scene);

// Puts into the message base what the scene says was stored before.
void LayStored(const TossScene& scene, const Site& site);

// Puts a message that no scene knows into conferences 1 and 2.
void LayOtherMail(const Site* site);

// Runs the scene once without a fault of the loop and asserts that it stores what it has to; then once for every fault,
// and asserts after each: stored messages are complete, nothing is damaged or left over, nothing is lost (what is not
// stored is still in the inbound directory), every failure that matters has a line and the exit status, and a later run
// without faults stores every message with a MSGID exactly once.
void TryTossFaults(const TossScene& scene, FaultLoop loop = {});
