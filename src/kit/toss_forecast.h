// What a toss would do with inbound files, according to the readers and judges that the toss uses.
//
// The message base is read, and what the messages so far would have added to it is kept in memory: MSGIDs, numbers,
// records and parents. So the order of the files counts: each message is judged after those before it.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "kit/kit_site.h"
#include "kit/number_set.h"
#include "kit/packet_facts.h"
#include "toss/inbound_message.h"

// A conference's message base with what would have been added to it.
struct ConferenceState {
  std::string times;  // of its files before they were read
  int64_t dat_count = 0;
  int32_t highest = 0;
  NumberSet live;   // MsgNumbers of headers that are not deleted
  std::string sig;  // lines of the SIG file
  bool sig_usable = true;
};

class TossForecast {
 public:
  // `kept` are the messages of each packet whose text or bytes are among the facts.
  explicit TossForecast(const KitSite& site, const KeptBytes& kept = {});

  // Judges the file at `path` with this content.
  FileFacts JudgeFile(const std::string& path, const uint8_t* bytes, size_t size);

  // Whether a file that was read has changed since.
  bool HasChanged() const;

 private:
  enum Result { kNotAPacket, kDone, kRetain };  // of a packet

  Result JudgePacket(const uint8_t* bytes, size_t size, PacketFacts* packet);
  FileFate JudgeBundle(const uint8_t* bytes, size_t size, FileFacts* file);
  void JudgeMessage(const InboundMessage& message, MessageFacts* facts);
  void Store(const InboundMessage& message, ConferenceState* state, MessageFacts* facts);
  ConferenceState& StateOf(int32_t conference);

  const KitSite& site_;
  KeptBytes kept_;
  std::string trouble_;  // why no run would start; empty for nothing
  std::map<int32_t, ConferenceState> states_;
};
