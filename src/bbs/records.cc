#include "bbs/records.h"

#include <cstring>

PtrRecord UnpackPtrRecord(const uint8_t* from) {
  namespace layout = ptr_layout;
  PtrRecord record;
  (void)GetPrefixedText(from, layout::MsgDate, record.MsgDate, sizeof record.MsgDate);
  (void)GetPrefixedText(from, layout::From, record.From, sizeof record.From);
  (void)GetPrefixedText(from, layout::To, record.To, sizeof record.To);
  (void)GetPrefixedText(from, layout::ToCopy, record.ToCopy, sizeof record.ToCopy);
  (void)GetPrefixedText(from, layout::Subj, record.Subj, sizeof record.Subj);
  record.NetMail = from[layout::NetMail.at] != 0;
  record.MsgSent = from[layout::MsgSent.at] != 0;
  record.IsReply = from[layout::IsReply.at] != 0;
  record.IsRoot = from[layout::IsRoot.at] != 0;
  record.Private = from[layout::Private.at] != 0;
  record.Deleted = from[layout::Deleted.at] != 0;
  record.Where = GetU16(from + layout::Where.at);
  record.Records = GetU16(from + layout::Records.at);
  record.ConfNumber = GetU16(from + layout::ConfNumber.at);
  record.MsgNumber = GetI32(from + layout::MsgNumber.at);
  record.ThreadRef = GetI32(from + layout::ThreadRef.at);
  (void)GetPrefixedText(from, layout::OrigNetNode, record.OrigNetNode, sizeof record.OrigNetNode);
  return record;
}

void PackPtrRecord(const PtrRecord& record, uint8_t* to) {
  namespace layout = ptr_layout;
  memset(to, 0, layout::kSize);
  PutPrefixedText(to, layout::MsgDate, record.MsgDate);
  PutPrefixedText(to, layout::From, record.From);
  PutPrefixedText(to, layout::To, record.To);
  PutPrefixedText(to, layout::ToCopy, record.ToCopy);
  PutPrefixedText(to, layout::Subj, record.Subj);
  to[layout::NetMail.at] = record.NetMail ? 1 : 0;
  to[layout::MsgSent.at] = record.MsgSent ? 1 : 0;
  to[layout::IsReply.at] = record.IsReply ? 1 : 0;
  to[layout::IsRoot.at] = record.IsRoot ? 1 : 0;
  to[layout::Private.at] = record.Private ? 1 : 0;
  to[layout::Deleted.at] = record.Deleted ? 1 : 0;
  to[layout::reserved159.at] = 1;
  PutU16(to + layout::Where.at, record.Where);
  PutU16(to + layout::Records.at, record.Records);
  PutU16(to + layout::ConfNumber.at, record.ConfNumber);
  PutI32(to + layout::MsgNumber.at, record.MsgNumber);
  PutI32(to + layout::ThreadRef.at, record.ThreadRef);
  PutPrefixedText(to, layout::OrigNetNode, record.OrigNetNode);
}

void PackIdxRecord(const IdxRecord& record, uint8_t* to) {
  PutU32(to + idx_layout::FromCrc.at, record.FromCrc);
  PutU32(to + idx_layout::ToCrc.at, record.ToCrc);
  PutI32(to + idx_layout::MsgNumber.at, record.MsgNumber);
  PutI32(to + idx_layout::ThreadRef.at, record.ThreadRef);
}

void PackDatRecord(const uint8_t* text, size_t size, uint8_t* to) {
  memset(to, 0, dat_layout::kSize);
  to[dat_layout::length.at] = static_cast<uint8_t>(size);
  if (size != 0) memcpy(to + dat_layout::text.at, text, size);
}
