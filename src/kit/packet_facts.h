// Facts about an inbound file: its packets, their messages, and what the toss would do with them. Texts of mail are
// unchanged bytes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ftn/packet.h"

enum Verdict { kVerdictStored, kVerdictDuplicate, kVerdictCatchAll, kVerdictDropped, kVerdictRefused, kVerdictDamaged };

struct MessageFacts {
  int number = 0;  // from 1 within its packet
  Verdict verdict = kVerdictDamaged;
  std::string reason;                     // a sentence for the reader; may be empty
  std::optional<int32_t> conference;      // where it would be stored, or was
  std::optional<int32_t> message_number;  // the one that it would get, or that of the message that it duplicates
  std::optional<int32_t> parent;          // the MsgNumber that it would be linked to

  size_t offset = 0;  // of its first byte in the packet
  size_t size = 0;    // bytes; 0 when its end cannot be found
  PackedMessageHead head;
  std::string from, to, subject, date;
  std::string area, msgid, reply, charset;  // empty where there is none
  std::vector<std::string> kludges;         // the lines of all other kludges
  std::string body;                         // as it is stored, with LF line ends; if it is wanted
  std::string raw;                          // its bytes; if they are wanted
};

constexpr int kNoMessage = -1;
constexpr int kAllMessages = 0;

// Of which messages more than the facts is wanted: a number, or one of the above.
struct KeptBytes {
  int text_of = kNoMessage;
  int raw_of = kNoMessage;
};

struct PacketFault {
  size_t offset = 0;  // in the packet, or for an entry that is no packet, in the bundle
  std::string reason;
};

struct PacketFacts {
  std::optional<std::string> entry;  // its name in the bundle
  std::optional<PacketHeader> header;
  std::vector<MessageFacts> messages;
  std::optional<PacketFault> fault;
};

enum FileKind { kFileBundle, kFilePacket, kFileOther };

// What would become of the file: moved or deleted; kept because something could not be stored; ignored with a line in
// the log; or ignored without one.
enum FileFate { kFateProcessed, kFateRetained, kFateLeft, kFateIgnored };

struct FileFacts {
  std::string path;
  FileKind kind = kFileOther;
  FileFate fate = kFateIgnored;
  std::string reason;  // why it would not be processed, unless a message says so
  std::vector<PacketFacts> packets;
};
