// The MSGIDs of a SIG file, of which there are many, in little memory and without an allocation for each.
#pragma once

#include <bit>
#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

class MsgidSet {
 public:
  // Makes room for at most `count` MSGIDs.
  explicit MsgidSet(size_t count) : slots_(std::bit_ceil(count * 2 + 1)) {}

  // Returns whether the MSGID was not there yet. Its bytes have to outlive the set.
  bool Insert(std::string_view msgid) {
    const size_t hash = std::hash<std::string_view>()(msgid);
    for (size_t at = hash;; ++at) {
      Slot& slot = slots_[at & (slots_.size() - 1)];
      if (slot.data == nullptr) {
        slot = {msgid.data(), static_cast<uint32_t>(msgid.size()), static_cast<uint32_t>(hash >> 16)};
        return true;
      }
      if (slot.check == static_cast<uint32_t>(hash >> 16) && std::string_view(slot.data, slot.size) == msgid) {
        return false;
      }
    }
  }

 private:
  struct Slot {
    const char* data = nullptr;
    uint32_t size = 0;   // bytes
    uint32_t check = 0;  // bits of the hash that were not used to choose the slot
  };

  std::vector<Slot> slots_;
};
