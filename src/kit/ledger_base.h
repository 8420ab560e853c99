// What the message base knows of the messages that the ledger asks for: headers by their numbers, numbers by MSGIDs.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>

#include "app/site_paths.h"

struct KnownHeader {
  uint64_t identity = 0;  // as IdentityOfHeader
  bool deleted = false;
};

// Reads the files of a conference when it is first asked for.
class LedgerBase {
 public:
  explicit LedgerBase(const MessageBase& base) : base_(base) {}

  // The header of a number; nullptr when there is none.
  const KnownHeader* Header(int32_t conference, int32_t message_number);

  // The number on the first line of a MSGID in the SIG file: 0 when it has none, -1 when there is no such line.
  int32_t NumberOf(int32_t conference, std::string_view msgid);

 private:
  struct SigNumbers {
    std::string text;
    std::unordered_map<std::string_view, int32_t> numbers;
  };

  const SigNumbers& NumbersOf(int32_t conference);

  MessageBase base_;
  std::map<int32_t, std::unordered_map<int32_t, KnownHeader>> headers_;
  std::map<int32_t, SigNumbers> sigs_;
};
