// A scan whose every call fails in turn.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "fault/fault_loop.h"
#include "unit/support/site.h"

// A message that the scan has to export; its subject is no other's.
struct UnsentMessage {
  int conference = 1;
  std::string subject;
  int32_t parent = 0;  // the message that it replies to, 0: none
  std::string to = "All";
  std::string body = "Hello\x01";
};

UnsentMessage Unsent(int conference, const std::string& subject, const std::string& to = "All");

struct ScanScene {
  std::vector<UnsentMessage> messages;
  std::function<void(Site*)> lay;          // what was there before
  std::function<void(ScopedDoor*)> spoil;  // fails in every run
};

// Puts a message into the message base.
void LayUnsent(const UnsentMessage& message, const Site& site);

// Puts a message that arrived from the network into conference 1.
void LayReceivedMail(const Site* site);

constexpr char kSerialFile[] = "msg/CVOUTBOUND.SEQ";

// A message of a bundle.
struct Exported {
  std::string subject;
  std::string msgid;
};

// The messages of a whole bundle; one that is not whole fails the test.
std::vector<Exported> ReadBundle(const std::string& bundle);

// The serial that a MSGID ends with.
unsigned long SerialOf(const std::string& msgid);

// Plays the scene once without a fault of the loop's and asserts that it exports every message; then once for every
// fault, and asserts after each: a bundle is whole or not there, a message is marked sent only with its SIG line and in
// a bundle, nothing is damaged or left behind, every failure that matters has a line and the exit status, and a later
// run without faults exports what is left under serials that were never used.
void TryScanFaults(const ScanScene& scene, FaultLoop loop = {});
