// The table of what is said when a call fails: which file, what it was wanted for, which call.
#pragma once

#include <map>
#include <string>

#include "fault/steps.h"

enum class Use {
  kCheck,      // -check looks whether it is there
  kTake,       // the lock
  kOwner,      // reading whose the lock is
  kRelease,    // giving the lock back
  kStart,      // read before a run begins its work
  kPreflight,  // looking whether the message base is sound
  kWalk,       // listing the inbound directory
  kSource,     // reading an inbound file
  kInflate,
  kText,    // the text of an inbound message
  kLookUp,  // duplicates and parents
  kSnapshot,
  kAppend,
  kSeek,  // in an append
  kRollBack,
  kSave,  // the copy of a bad packet
  kDispose,
  kScan,  // reading the headers of the BBS
  kBody,  // reading the text of a local message
  kStrip,
  kSerial,
  kAssemble,
  kQueue,
  kPacketOut,   // writing the temporary packet
  kPacketBack,  // reading it again, and removing it
  kPublish,
  kCommit,  // the SIG line of a message that was sent
  kMark,
  kVerify,
  kTakeBack,  // the SIG line of a message that could not be marked
};

// What stands for the words in braces, such as {conf}; {path} is that of the step.
using Words = std::map<std::string, std::string>;

// What is said when that step fails, with its words in place; empty: nothing. A case that the table does not have fails
// the test.
std::string FailureLine(const Step& step, Use use, const Words& words, const Site& site);

// The line with the words in place.
std::string Worded(std::string line, const Words& words);
