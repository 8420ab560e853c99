// What TOSSER.LOG tells of each inbound file: how often it was tossed, and what became of each of its messages.
//
// The line of a stored message names neither its MSGID nor its place in its packet: which message it is of follows from
// the order of the lines, for a toss takes the messages in the order of the packet and prints one line of each.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "kit/log_patterns.h"

enum class Outcome { kStored, kDuplicate, kNoNetmail, kNoArea, kRefused };

// What became of a message, or alike of several in a row: their numbers then follow each other.
struct LoggedOutcome {
  Outcome outcome = Outcome::kStored;
  bool parked = false;
  int32_t conference = 0;
  int32_t message_number = 0;  // of a stored one
  uint32_t message = 0;        // its place in its packet, from 1; 0 when no line tells it
  uint32_t order = 0;          // among all stored messages of the log
  uint32_t count = 1;

  LoggedOutcome At(uint32_t place) const;  // the one message at that place among them, from 0
};

struct LoggedPacket {
  std::string entry;  // as the log names it; empty for a packet that is a file
  uint64_t key = 0;   // of the line of its entry
  std::vector<LoggedOutcome> outcomes;
  size_t handled = 0;       // messages of the outcomes
  int64_t read = -1;        // messages that the toss counted at its end; -1 when it did not come there
  bool fault = false;       // a damaged message ended it
  std::string saved;        // the path of its copy in badmsgs
  uint64_t duplicates = 0;  // hash of the MSGIDs of its duplicates and their places

  size_t Messages() const;  // that the log tells of
  bool IsStopped() const;   // the last message could not be taken, and nothing behind it was looked at
};

enum class Disposal { kNone, kRetained, kMoved, kDeleted };

// One toss of one file.
struct LoggedToss {
  std::string last;  // the stamp of its last line
  std::vector<LoggedPacket> packets;
  Disposal disposal = Disposal::kNone;

  bool IsDone() const { return disposal == Disposal::kMoved || disposal == Disposal::kDeleted; }
};

class TossHistory {
 public:
  // Takes the next line of the log.
  void Take(const LogRecord& record);

  // The tosses of each file by its name as the log shows it, in their order.
  const std::map<std::string, std::vector<LoggedToss>>& Files() const { return files_; }

  // The stamp of the first line; empty without one.
  const std::string& Begin() const { return begin_; }

  // Whether a later message than the one of that place was given the number.
  bool IsGivenAgain(int32_t conference, int32_t message_number, uint32_t order) const;

  // Whether a line gives the number to any message.
  bool IsGiven(int32_t conference, int32_t message_number) const;

  // The packet that the file at a path in badmsgs is a copy of; of several the last one. nullptr for none.
  const LoggedPacket* PacketSavedAt(const std::string& path) const;

 private:
  struct Numbers {  // that one message after the other was given
    uint32_t order = 0;
    int32_t first = 0;
    int32_t last = 0;
  };
  struct GivenNumbers {
    std::vector<Numbers> all;
    std::vector<Numbers> again;  // those that begin below a number which was given before
    int32_t highest = 0;
  };

  void TakeOutcome(Outcome outcome, const LogRecord& record);
  void TakeStored(const LogRecord& record);
  void Add(const LoggedOutcome& outcome);
  static void AddNumber(uint32_t order, int32_t number, std::vector<Numbers>* to);
  static bool Has(const std::vector<Numbers>& numbers, int32_t number, uint32_t after);
  LoggedPacket& Packet();

  std::map<std::string, std::vector<LoggedToss>> files_;
  std::map<int32_t, GivenNumbers> given_;                                           // by conference
  std::map<std::string, std::pair<std::string, std::pair<size_t, size_t>>> saved_;  // path to file, toss and packet
  std::string begin_;
  std::string name_;            // of the file at hand
  LoggedToss* toss_ = nullptr;  // of the file at hand
  uint32_t order_ = 0;
  uint32_t told_ = 0;    // the place of the next message, by a line about it
  bool parked_ = false;  // and whether it is parked
};

// What tells the entries of a bundle apart: a hash of what their lines say.
uint64_t KeyOfEntry(std::string_view shown_name, int64_t method, int64_t packed_size, int64_t size);

// Adds a duplicate to the hash of a packet.
uint64_t HashWithDuplicate(uint64_t hash, size_t message, std::string_view shown_msgid);
