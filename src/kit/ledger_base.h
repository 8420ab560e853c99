// Looks up messages in the message base for the ledger: headers by number, numbers by MSGID.
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

// Reads the files of a conference at its first use.
class LedgerBase {
 public:
  explicit LedgerBase(const MessageBase& base) : base_(base) {}

  // Returns the header with that number, or nullptr.
  const KnownHeader* Header(int32_t conference, int32_t message_number);

  // Returns the number in the first SIG line with that MSGID: 0 if the line has none, -1 if there is no such line.
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
