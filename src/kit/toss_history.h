// What TOSSER.LOG says about each inbound file: how often it was tossed, and what became of each of its messages.
//
// The line about a stored message has neither its MSGID nor its position in its packet. Which message it is about
// follows from the order of the lines: a toss takes the messages in the order of the packet and prints one line about
// each.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "kit/log_patterns.h"

enum class Outcome { kStored, kDuplicate, kNoNetmail, kNoArea, kRefused };

// What became of a message, or of several in a row with consecutive numbers.
struct LoggedOutcome {
  Outcome outcome = Outcome::kStored;
  bool parked = false;
  int32_t conference = 0;
  int32_t message_number = 0;  // of a stored one
  uint32_t message = 0;        // its position in its packet, from 1; 0 when unknown
  uint32_t order = 0;          // its position among all stored messages of the log
  uint32_t count = 1;

  LoggedOutcome At(uint32_t place) const;  // that of the single message at this position, from 0
};

struct LoggedPacket {
  std::string entry;  // its name in the log; empty for a packet that is a file
  uint64_t key = 0;   // of the line of its entry
  std::vector<LoggedOutcome> outcomes;
  size_t handled = 0;       // messages of the outcomes
  int64_t read = -1;        // messages that the toss counted at the end of the packet; -1 when it did not get there
  bool fault = false;       // a damaged message ended it
  std::string saved;        // the path of its copy in badmsgs
  uint64_t duplicates = 0;  // hash of the MSGIDs and positions of its duplicates

  size_t Messages() const;  // how many the log mentions
  bool IsStopped() const;   // the last message could not be stored, and those after it were not read
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

  // Returns the tosses of each file in order, by its name as the log shows it.
  const std::map<std::string, std::vector<LoggedToss>>& Files() const { return files_; }

  // Whether the number was used again, for a message after the one with that LoggedOutcome::order.
  bool IsGivenAgain(int32_t conference, int32_t message_number, uint32_t order) const;

  // Whether the number was used for any message.
  bool IsGiven(int32_t conference, int32_t message_number) const;

  // Returns the packet of which the file at a path in badmsgs is a copy, the last one if several; nullptr for none.
  const LoggedPacket* PacketSavedAt(const std::string& path) const;

 private:
  struct Numbers {  // consecutive numbers of consecutive messages
    uint32_t order = 0;
    int32_t first = 0;
    int32_t last = 0;
  };
  struct GivenNumbers {
    std::vector<Numbers> all;
    std::vector<Numbers> again;  // those that begin below a number that was used before
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
  std::string name_;                                                                // of the current file
  LoggedToss* toss_ = nullptr;                                                      // of the current file
  uint32_t order_ = 0;
  uint32_t told_ = 0;    // the position of the next message, if a line names it
  bool parked_ = false;  // whether that message is parked
};

// Returns a hash of what the log says about an entry, by which the entries of a bundle are distinguished.
uint64_t KeyOfEntry(std::string_view shown_name, int64_t method, int64_t packed_size, int64_t size);

// Adds a duplicate to the hash of a packet.
uint64_t HashWithDuplicate(uint64_t hash, size_t message, std::string_view shown_msgid);
