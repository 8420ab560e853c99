// A ZIP bundle: which entries are tossed, and whether the bundle may be disposed of.
#include <zlib.h>

#include <string>

#include "fuzz/model/packet_model.h"
#include "fuzz/model/records_model.h"
#include "fuzz/support/input.h"
#include "fuzz/support/memory_files.h"
#include "fuzz/support/rule.h"
#include "toss/bundle_toss.h"

namespace {

constexpr size_t kHeader = 30;

bool HeaderAt(const std::string& bundle, size_t at) {
  return at + kHeader <= bundle.size() && bundle.compare(at, 4, "PK\x03\x04") == 0;
}

// Inflates in small steps, until the data ends or more than `size` bytes have come out.
bool Inflates(const std::string& data, size_t size, std::string* content) {
  z_stream stream = {};
  Must(inflateInit2(&stream, -MAX_WBITS) == Z_OK, "zlib is there");
  std::string input = data;
  stream.next_in = reinterpret_cast<Bytef*>(input.data());
  stream.avail_in = static_cast<uInt>(input.size());
  int code = Z_OK;
  while (code == Z_OK && content->size() <= size) {
    Bytef piece[512];
    stream.next_out = piece;
    stream.avail_out = sizeof piece;
    code = inflate(&stream, Z_SYNC_FLUSH);
    content->append(reinterpret_cast<const char*>(piece), sizeof piece - stream.avail_out);
  }
  (void)inflateEnd(&stream);
  return code == Z_STREAM_END && content->size() == size;
}

struct ModelBundle {
  TossResult result = NotAPacket;
  int entries = 0;  // named in the log
  int tossed = 0;   // that are packets
  bool cut_off = false;
};

// Extracts the content of the entry whose header is at `at`. Returns false when it cannot be extracted.
bool ContentAt(const std::string& bundle, size_t at, const std::string& data, std::string* content) {
  const unsigned int method = WordAt(bundle, at + 8);
  const size_t size = static_cast<uint32_t>(LongAt(bundle, at + 22));
  if (WordAt(bundle, at + 6) / 8 % 2 != 0 || size > 64 * 1024 * 1024) return false;
  if (method == 8) return size <= MemoryFiles::kMostMemory && Inflates(data, size, content);
  *content = data;
  return method == 0 && data.size() == size;
}

ModelBundle ReadBundle(const std::string& bundle) {
  ModelBundle read;
  if (!HeaderAt(bundle, 0)) return read;
  int handled = 0;
  for (size_t at = 0; HeaderAt(bundle, at);) {
    const size_t from = at + kHeader + WordAt(bundle, at + 26) + WordAt(bundle, at + 28);
    const size_t size = static_cast<uint32_t>(LongAt(bundle, at + 18));
    read.cut_off = from > bundle.size() || size > bundle.size() - from;
    if (read.cut_off) break;
    std::string content;
    ModelPacket packet;
    ++read.entries;
    if (ContentAt(bundle, at, bundle.substr(from, size), &content)) packet = ReadPacket(content);
    if (packet.end != kModelNoPacket) ++read.tossed;
    if (packet.end == kModelWhole || packet.end == kModelFault) ++handled;
    at = from + size;
  }
  read.result = handled > 0 && handled == read.entries && !read.cut_off ? PacketDone : PacketRetain;
  return read;
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  MemoryFiles system;
  const std::string bundle = Input(data, size).TakeRest();
  const ExactCopy copy(bundle);
  const ModelBundle model = ReadBundle(bundle);
  const ConferenceTable no_conferences;
  RunLock no_lock;
  BadPackets bad_packets = {{"in/badmsgs", kOsTrustPath}};
  ConferenceSet touched;
  const TossSite site = {"msg", &no_lock, &bad_packets, &no_conferences, &touched};
  const TossResult result = TossZipBundle(site, copy.Data(), size);
  MustEqual(result, model.result, "a bundle is disposed of when each entry was handled");
  // No name of an entry can add a line.
  MustEqual(system.CountLogged("  ZIP entry: "), model.entries, "each entry is named");
  for (const std::string& line : system.log) MustEqual(line, AsLogged(line), "no name forges a line");
  MustEqual(system.CountLogged("  packet: orig "), model.tossed, "each entry that is a packet is tossed");
  const bool said_cut_off = system.CountLogged("  ERROR: truncated ZIP filename/extra field") +
                                system.CountLogged("  ERROR: ZIP entry claims more compressed data than") !=
                            0;
  Must(said_cut_off == model.cut_off, "an entry that is cut off is reported");
  Must((system.CountLogged("  retaining ZIP in inbound") == 1) == (result == PacketRetain), "retaining is reported");
  return 0;
}
