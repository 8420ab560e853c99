#include "kit/message_identity.h"

#include <algorithm>

#include "base/fixed_text.h"
#include "ftn/fts_date.h"
#include "ftn/packet.h"
#include "kit/sha256.h"

namespace {

Identity Hash(const PtrRecord& header, std::string_view body) {
  Identity identity;
  Sha256 hash;
  for (const char* text : {header.MsgDate, header.From, header.To, header.Subj}) hash.AddText(text);
  const char marks[] = {static_cast<char>(header.NetMail), static_cast<char>(header.Private)};
  hash.Add(marks, sizeof marks);
  identity.header = hash.Value();
  Sha256 text;
  text.AddText(body);
  identity.body = text.Value();
  hash.AddText(header.OrigNetNode);
  hash.AddText(identity.body);
  identity.whole = hash.Value();
  return identity;
}

}  // namespace

Identity IdentityOfStored(const uint8_t* header, std::string_view body) { return Hash(UnpackPtrRecord(header), body); }

PtrRecord TextsOfInbound(const InboundMessage& message) {
  PtrRecord header;
  char date[kMessageBaseDateSize];
  ConvertFtsDate(message.dateTime, date);
  CopyCut(header.MsgDate, date);
  CopyCut(header.From, message.fromUserName);
  CopyCut(header.To, message.toUserName);
  CopyCut(header.Subj, message.subject);
  CopyCut(header.OrigNetNode, message.origin);
  return header;
}

Identity IdentityOfInbound(const InboundMessage& message) {
  PtrRecord header = TextsOfInbound(message);
  header.NetMail = message.area[0] == '\0';
  header.Private = (message.attribute & kAttributePrivate) != 0;
  std::string body(reinterpret_cast<const char*>(message.body.data), message.body.size);
  std::replace(body.begin(), body.end(), kLineEndByte, '\r');
  return Hash(header, body);
}

std::string IdentityOfOutbound(std::string_view from, std::string_view to, std::string_view subject,
                               std::string_view body) {
  Sha256 hash;
  for (const std::string_view text : {from, to, subject, body}) hash.AddText(text);
  return hash.Value();
}
