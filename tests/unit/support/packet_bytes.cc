#include "unit/support/packet_bytes.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include "unit/support/message_base.h"
#include "unit/support/test_files.h"

namespace {

std::string Terminated(const std::string& text) { return text + std::string(1, '\0'); }

}  // namespace

std::string EchoText(const std::string& area, const std::string& msgid, const std::string& lines) {
  std::string text;
  if (!area.empty()) text += "AREA:" + area + "\r";
  if (!msgid.empty()) text += "\x01MSGID: " + msgid + "\r";
  return text + lines;
}

std::string PacketHeaderBytes() {
  std::string header = Word(426) + Word(100) + Word(2025) + Word(0) + Word(5);  // nodes, date
  header += Word(12) + Word(34) + Word(56) + Word(0) + Word(2);                 // time, baud, packet type
  header += Word(229) + Word(229);                                              // nets
  header += std::string(46 - 24, '\0');
  header += Word(1) + Word(1) + Word(0) + Word(0) + std::string(4, '\0');  // zones, points, product data
  EXPECT_EQ(header.size(), 58U);
  return header;
}

std::string PackedBytes(const PacketMessage& m) {
  return Word(2) + Word(m.orig_node) + Word(100) + Word(m.orig_net) + Word(229) + Word(m.attribute) + Word(0) +
         Terminated(m.date) + Terminated(m.to) + Terminated(m.from) + Terminated(m.subject) + Terminated(m.text);
}

std::string PacketBytes(const std::vector<PacketMessage>& messages) {
  std::string packet = PacketHeaderBytes();
  for (const PacketMessage& message : messages) packet += PackedBytes(message);
  return packet + Word(0);
}

std::string ZipEntryBytes(const ZipEntryParts& entry) {
  const std::string data = entry.deflated ? Deflated(entry.content) : entry.content;
  const int64_t compressed = entry.compressed_size >= 0 ? entry.compressed_size : static_cast<int64_t>(data.size());
  const int64_t uncompressed =
      entry.uncompressed_size >= 0 ? entry.uncompressed_size : static_cast<int64_t>(entry.content.size());
  const int method = entry.method >= 0 ? entry.method : entry.deflated ? 8 : 0;
  return FromHex("50 4B 03 04 14 00") + Word(entry.flags) + Word(static_cast<uint16_t>(method)) +
         FromHex("81 48 25 5A EF BE AD DE") +  // time, date, a CRC-32 that is wrong
         Long(static_cast<uint32_t>(compressed)) + Long(static_cast<uint32_t>(uncompressed)) +
         Word(static_cast<uint16_t>(entry.name.size())) + Word(static_cast<uint16_t>(entry.extra.size())) + entry.name +
         entry.extra + data;
}

std::string Deflated(const std::string& content) {
  z_stream stream = {};
  EXPECT_EQ(deflateInit2(&stream, 6, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY), Z_OK);
  std::string data(deflateBound(&stream, static_cast<uLong>(content.size())), '\0');
  stream.next_in = const_cast<Bytef*>(BytesOf(content));
  stream.avail_in = static_cast<uInt>(content.size());
  stream.next_out = reinterpret_cast<Bytef*>(data.data());
  stream.avail_out = static_cast<uInt>(data.size());
  EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
  data.resize(stream.total_out);
  (void)deflateEnd(&stream);
  return data;
}
