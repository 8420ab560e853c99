// The fixed-size records of a conference's message base (format: the Corvane BBS).
//
// A conference nn has three flat files without headers: CVMSGnn.PTR has one PtrRecord per message in the order they
// were added, CVMSGnn.IDX an IdxRecord for each of the first of them, CVMSGnn.DAT the texts in DatRecords. All integers
// are little-endian; a text field is a length byte and the text, zero-filled, without NUL.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/bytes.h"

namespace ptr_layout {

constexpr size_t kSize = 256;
constexpr Field MsgDate{0, 18};
constexpr Field From{18, 31};
constexpr Field To{49, 31};
constexpr Field ToCopy{80, 31};
constexpr Field Subj{111, 41};
constexpr Field NetMail{152, 1};
constexpr Field MsgSent{153, 1};
constexpr Field reserved154{154, 1};  // written 0
constexpr Field IsReply{155, 1};
constexpr Field IsRoot{156, 1};
constexpr Field Private{157, 1};
constexpr Field Deleted{158, 1};
constexpr Field reserved159{159, 1};  // written 1
constexpr Field Where{160, 2};
constexpr Field Records{162, 2};
constexpr Field ConfNumber{164, 2};
constexpr Field MsgNumber{166, 4};
constexpr Field ThreadRef{170, 4};
constexpr Field reserved174{174, 41};  // zero
constexpr Field OrigNetNode{215, 17};
constexpr Field reserved232{232, 24};  // zero
static_assert(CoversRecord({MsgDate,     From,       To,        ToCopy,    Subj,        NetMail,     MsgSent,
                            reserved154, IsReply,    IsRoot,    Private,   Deleted,     reserved159, Where,
                            Records,     ConfNumber, MsgNumber, ThreadRef, reserved174, OrigNetNode, reserved232},
                           kSize));

}  // namespace ptr_layout

namespace idx_layout {

constexpr size_t kSize = 16;
constexpr Field FromCrc{0, 4};
constexpr Field ToCrc{4, 4};
constexpr Field MsgNumber{8, 4};
constexpr Field ThreadRef{12, 4};
static_assert(CoversRecord({FromCrc, ToCrc, MsgNumber, ThreadRef}, kSize));

}  // namespace idx_layout

namespace dat_layout {

constexpr size_t kSize = 128;
constexpr Field length{0, 1};
constexpr Field text{1, 127};
static_assert(CoversRecord({length, text}, kSize));

}  // namespace dat_layout

constexpr size_t kPtrRecordSize = ptr_layout::kSize;
constexpr size_t kIdxRecordSize = idx_layout::kSize;
constexpr size_t kDatRecordSize = dat_layout::kSize;
constexpr size_t kDatTextSize = dat_layout::text.width;

// A DAT file has at most as many records as the 16 bits of `Where` can address.
constexpr int64_t kMostDatRecords = 65536;

// A stored line of text ends with this byte, not with CR or LF.
constexpr char kLineEndByte = 0x01;

// The header of one message. Texts longer than their field are cut when they are packed.
struct PtrRecord {
  char MsgDate[18] = {};  // "03/07/24 09:05pm"
  char From[31] = {};
  char To[31] = {};
  char ToCopy[31] = {};  // written equal to To, never read
  char Subj[41] = {};
  bool NetMail = false;
  bool MsgSent = false;  // exported already, or arrived from the network
  bool IsReply = false;
  bool IsRoot = false;
  bool Private = false;
  bool Deleted = false;
  uint16_t Where = 0;    // the message's first DatRecord
  uint16_t Records = 0;  // how many DatRecords hold its text
  uint16_t ConfNumber = 0;
  int32_t MsgNumber = 0;
  int32_t ThreadRef = 0;  // the parent's MsgNumber of a reply, else its own
  char OrigNetNode[17] = {};
};

struct IdxRecord {
  uint32_t FromCrc = 0;
  uint32_t ToCrc = 0;
  int32_t MsgNumber = 0;
  int32_t ThreadRef = 0;
};

// The fields of a PtrRecord that a pass over the file needs, all within one cache line of it.
struct PtrVitals {
  bool Deleted;
  uint16_t Where;
  uint16_t Records;
  int32_t MsgNumber;
};

// Reads these fields of the PtrRecord at `from`, of kPtrRecordSize bytes.
inline PtrVitals UnpackPtrVitals(const uint8_t* from) {
  return {from[ptr_layout::Deleted.at] != 0, GetU16(from + ptr_layout::Where.at), GetU16(from + ptr_layout::Records.at),
          GetI32(from + ptr_layout::MsgNumber.at)};
}

// Reads and writes the kPtrRecordSize bytes of a message header.
PtrRecord UnpackPtrRecord(const uint8_t* from);
void PackPtrRecord(const PtrRecord& record, uint8_t* to);

// Writes the kIdxRecordSize bytes of an index record.
void PackIdxRecord(const IdxRecord& record, uint8_t* to);

// Writes the kDatRecordSize bytes of a text record; `size` is at most kDatTextSize.
void PackDatRecord(const uint8_t* text, size_t size, uint8_t* to);
