// The readers of a message base: preflight, headers and bodies, against loops over the bytes.
#include <algorithm>
#include <cstring>

#include "bbs/message_body.h"
#include "bbs/preflight.h"
#include "bbs/ptr_scan.h"
#include "fuzz/model/plain_text.h"
#include "fuzz/model/records_model.h"
#include "fuzz/support/input.h"
#include "fuzz/support/memory_files.h"
#include "fuzz/support/rule.h"
#include "scan/local_message.h"

namespace {

constexpr char kPtrPath[] = "msg/CVMSG07.PTR";
constexpr char kDatPath[] = "msg/CVMSG07.DAT";

bool IsUnsound(const std::string& ptr, size_t at, int64_t dat_records) {
  const int64_t records = WordAt(ptr, at + 162);
  return ptr[at + 158] == 0 && (records == 0 || WordAt(ptr, at + 160) + records > dat_records);
}

void CheckHeaders(const std::string& ptr, int32_t parent, int64_t dat_records) {
  const PtrScan scan = ScanPtrFile(kPtrPath, parent, dat_records);
  int32_t highest = 0;
  bool alive = false;
  size_t unsound = ptr.size();
  for (size_t at = 0; at + 256 <= ptr.size(); at += 256) {
    const int32_t number = LongAt(ptr, at + 166);
    highest = std::max(highest, number);
    alive |= parent >= 1 && number == parent && ptr[at + 158] == 0;
    if (IsUnsound(ptr, at, dat_records)) unsound = std::min(unsound, at);
  }
  Must(scan.opened && !scan.close_failed, "the headers can be read");
  MustEqual(scan.records, static_cast<long long>(ptr.size() / 256), "each whole record is a header");
  MustEqual(scan.highest, highest, "the highest number counts, deleted headers included");
  Must(scan.parent_live == alive, "a parent is alive when a header with its number is not deleted");
  Must((scan.fault == kPtrSound) == (unsound == ptr.size()), "an unsound header is found");
  if (scan.fault == kPtrSound) return;
  MustEqual(scan.fault_record, static_cast<long long>(unsound / 256), "the first unsound header is named");
  MustEqual(scan.fault_number, LongAt(ptr, unsound + 166), "its number is named");
  Must((scan.fault == kPtrNoRecords) == (WordAt(ptr, unsound + 162) == 0), "what is wrong with it is told");
}

std::string Bytes(const ByteBuffer& buffer) {
  return buffer.size == 0 ? "" : std::string(reinterpret_cast<const char*>(buffer.data), buffer.size);
}

// Returns the part of a text that other systems can read, with lines ended by CR.
std::string Outbound(std::string text) {
  std::replace(text.begin(), text.end(), '\x01', '\r');
  text.erase(std::remove_if(text.begin(), text.end(), [](char c) { return (c & 0x80) != 0; }), text.end());
  return text;
}

void CheckBody(const std::string& dat, uint16_t where, uint16_t records, ByteBuffer* body) {
  std::string text;
  const bool there = StoredText(dat, where, records, &text);
  MustEqual(ReadMessageBody(kDatPath, where, records, body), there ? 0 : -1, "a body is read when all of it is there");
  if (!there) return;
  std::replace(text.begin(), text.end(), '\x01', '\r');
  MustEqual(Bytes(*body), text, "a body is the text of its records");
  Must(body->data[body->size] == 0, "a NUL follows a body");
}

// Whether a netmail message can be addressed, and to whom.
bool ReadRecipient(const std::string& to, std::string* name, int32_t (&numbers)[4]) {
  const size_t at_sign = to.rfind('@');
  if (at_sign == std::string::npos) return false;
  *name = to.substr(0, at_sign);
  return ReadAddress(to.substr(at_sign + 1), numbers) >= 3;
}

void CheckMessage(const std::string& record, const std::string& dat, ByteBuffer* raw, LocalMessage* message) {
  const ExactCopy copy(record);
  const ReadMessageResult result = ReadLocalMessage(copy.Data(), 3, kDatPath, raw, message);
  Must(IsUnsent(copy.Data()) == (record[153] == 0 && record[158] == 0), "unsent is neither sent nor deleted");
  std::string name;
  int32_t numbers[4] = {};
  std::string text;
  const bool netmail = record[152] != 0;
  const bool addressed = !netmail || ReadRecipient(PrefixedAt(record, 49, 30), &name, numbers);
  const bool readable = addressed && StoredText(dat, WordAt(record, 160), WordAt(record, 162), &text);
  MustEqual(result, readable ? kMessageRead : kMessageSkipped, "a message is read when it has a way and a body");
  if (!readable) return;
  const PtrRecord& header = message->header;
  MustEqual(Bytes(message->body), Outbound(text), "a body is stripped of what others cannot read");
  MustEqual(header.From, PrefixedAt(record, 18, 30), "the sender is kept");
  MustEqual(header.To, PrefixedAt(record, 49, 30), "the recipient is kept");
  MustEqual(header.Subj, PrefixedAt(record, 111, 40), "the subject is kept");
  Must(header.IsReply == (record[155] != 0) && header.Private == (record[157] != 0), "the flags are kept");
  MustEqual(header.MsgNumber, LongAt(record, 166), "the number is kept");
  MustEqual(header.ThreadRef, LongAt(record, 170), "the reference is kept");
  if (!netmail) return;
  MustEqual(message->recipient, name, "the name stands before the last at sign");
  const FtnAddress& to = message->destination;
  Must(to.Zone == numbers[0] && to.Net == numbers[1] && to.Node == numbers[2] && to.Point == numbers[3],
       "the address stands behind the last at sign");
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  const auto parent = static_cast<int8_t>(input.TakeByte());
  const std::string idx(size_t{8} * input.TakeByte(), '\0');
  const uint8_t repeated = input.TakeByte();
  const auto dat_records = static_cast<int16_t>(input.TakeWord());
  std::string ptr = input.TakeBytes(input.TakeWord() % 2100);
  const std::string dat = input.TakeRest();

  MemoryFiles system;
  system.files[kPtrPath] = ptr;
  system.files[kDatPath] = dat;
  system.files["msg/CVMSG07.IDX"] = idx;
  const bool sound = IsSound(ptr, idx, dat);
  MustEqual(PreflightMessageBase("msg", 7, repeated % 2 == 0, nullptr), sound ? 0 : -1, "only a sound base passes");
  MustEqual(system.CountLogged("ERROR: "), sound ? 0 : 1, "what is wrong with a base is one line");

  ConferenceEntry conference;
  ByteBuffer raw;
  LocalMessage message;
  message.conference = &conference;
  for (size_t at = 0; at + 256 <= ptr.size(); at += 256) {
    CheckBody(dat, WordAt(ptr, at + 160), WordAt(ptr, at + 162), &raw);
    CheckMessage(ptr.substr(at, 256), dat, &raw, &message);
  }
  CheckHeaders(ptr, parent, dat_records);
  // As many headers as take more than one read.
  if (repeated < 250 || ptr.size() < 256) return 0;
  std::string many(size_t{256} * 1020, '\0');
  for (size_t at = 0; at < many.size(); at += 256) many[at + 158] = 1;
  many += ptr;
  system.files[kPtrPath] = many;
  CheckHeaders(many, parent, dat_records);
  return 0;
}
