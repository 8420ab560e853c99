// Single operations of the library, each on what a busy conference or a full packet gives it to do.
#include <benchmark/benchmark.h>
#include <zlib.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <random>
#include <string>

#include "bbs/ptr_scan.h"
#include "bbs/records.h"
#include "bbs/sig_file.h"
#include "ftn/cp437.h"
#include "ftn/packet.h"
#include "ftn/zip.h"
#include "platform/os.h"
#include "toss/bundle_toss.h"
#include "toss/inbound_text.h"
#include "toss/packet_toss.h"

namespace {

constexpr int kMessages = 5000;  // in the conference
constexpr size_t kPacketSize = 200000;
constexpr const char* kWords[] = {"the ",    "mail ",       "of ",    "a ",     "system ",  "that ",
                                  "nobody ", "remembers, ", "and ",   "it ",    "arrives ", "late. ",
                                  "Who ",    "reads ",      "this? ", "modem ", "-- ",      "quote "};

std::string Msgid(int number) {
  char text[40];
  (void)snprintf(text, sizeof text, "2:%d/%d %08x", 5000 + number % 97, number % 500,
                 static_cast<unsigned int>(number) * 2654435761U);
  return text;
}

// A file for as long as the benchmark that asks about it takes.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& content) {
    const int descriptor = mkstemp(path_);
    FILE* const file = descriptor >= 0 ? fdopen(descriptor, "wb") : nullptr;
    if (file == nullptr || fwrite(content.data(), 1, content.size(), file) != content.size()) abort();
    (void)fclose(file);
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() { (void)remove(path_); }
  const char* path() const { return path_; }

 private:
  char path_[32] = "/tmp/bench-XXXXXX";
};

std::string SigFile() {
  std::string sig;
  for (int i = 1; i <= kMessages; ++i) sig += Msgid(i) + "\t" + std::to_string(i) + "\n";
  return sig;
}

std::string PtrFile() {
  std::string ptr;
  for (int i = 1; i <= kMessages; ++i) {
    PtrRecord record;
    record.MsgNumber = i;
    record.Records = 1;
    uint8_t bytes[kPtrRecordSize];
    PackPtrRecord(record, bytes);
    ptr.append(reinterpret_cast<const char*>(bytes), sizeof bytes);
  }
  return ptr;
}

// A message text of some 1.2 kB; netmail, so that nothing has to be stored to walk over it.
std::string Text() {
  static std::minstd_rand random(1);
  std::string text = "\x01MSGID: " + Msgid(1) + "\r\x01REPLY: " + Msgid(2) + "\r\x01" + "CHRS: CP437 2\r";
  for (int i = 0; i < 18; ++i)
    text += "A line as people write them, " + std::to_string(i * 7919) + ", up to some column\r";
  return text + "--- BENCH\r * Origin: Somewhere (2:5000/100)\rSEEN-BY: 250/10 11 12\r\x01PATH: 250/10\r";
}

std::string Packet() {
  uint8_t bytes[kPacketHeaderSize];
  PacketHeader header;
  header.year = 2025;
  header.day = 5;
  header.packetType = kPacketType2;
  PackPacketHeader(header, bytes);
  std::string packet(reinterpret_cast<const char*>(bytes), sizeof bytes);
  const std::string head("\2\0\12\0\1\0\372\0\1\0\0\0\0\0", kPackedMessageHeadSize);
  const std::string names("05 Jan 25  00:07:59\0All\0Bench Sender\0Greetings", 46);
  while (packet.size() < kPacketSize) packet += head + names + '\0' + Text() + '\0';
  return packet + std::string(2, '\0');
}

const uint8_t* Bytes(const std::string& text) { return reinterpret_cast<const uint8_t*>(text.data()); }

void Count(benchmark::State& state, size_t bytes) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(bytes));
}

// A site without a netmail conference, and a console that shows nothing.
class QuietSite {
 public:
  QuietSite() {
    OsInForce().Show = [](OsStream, const char*, size_t) {};
  }
  ~QuietSite() { OsInForce() = kOsNative; }
  const TossSite& site() const { return site_; }

 private:
  ConferenceTable table_;
  RunLock no_lock_;
  BadPackets bad_packets_ = {{"/dev/null", kOsTrustPath}};
  ConferenceSet touched_;
  TossSite site_ = {"/dev/null", &no_lock_, &bad_packets_, &table_, &touched_};  // nothing is to be stored
};

void LookUp(benchmark::State& state, const std::string& content, const std::string& msgid, const std::string& reply) {
  const TemporaryFile sig(content);
  for (auto _ : state) benchmark::DoNotOptimize(ScanSigFile(sig.path(), msgid.c_str(), reply.c_str()));
  Count(state, content.size());
}

void SigOfANewMessage(benchmark::State& state) { LookUp(state, SigFile(), Msgid(kMessages + 1), ""); }
BENCHMARK(SigOfANewMessage);

void SigOfANewReply(benchmark::State& state) { LookUp(state, SigFile(), Msgid(kMessages + 1), Msgid(kMessages)); }
BENCHMARK(SigOfANewReply);

// Files that mail can have made, of lines that differ from what is looked for as late or as little as can be. Each is
// timed with a MSGID like its lines and with one unlike any: the first must not take much longer.
std::string SigOfLines(const std::string& msgid) {
  std::string sig;
  for (int i = 1; sig.size() < 200000; ++i) sig += msgid + "\t" + std::to_string(i) + "\n";
  return sig;
}

void SigUnlike(benchmark::State& state) { LookUp(state, SigOfLines(std::string(100, 'a')), Msgid(1), ""); }
BENCHMARK(SigUnlike);

void SigAlikeButTheFirstByte(benchmark::State& state) {
  LookUp(state, SigOfLines(std::string(100, 'a')), "b" + std::string(99, 'a'), "");
}
BENCHMARK(SigAlikeButTheFirstByte);

void SigAlikeButShorter(benchmark::State& state) {
  LookUp(state, SigOfLines(std::string(100, 'a')), std::string(99, 'a'), "");
}
BENCHMARK(SigAlikeButShorter);

void SigAlikeButLonger(benchmark::State& state) {
  LookUp(state, SigOfLines(std::string(100, 'a')), std::string(127, 'a'), "");
}
BENCHMARK(SigAlikeButLonger);

void SigAlikeButOneByteEach(benchmark::State& state) {
  std::string sig;
  for (int i = 1; sig.size() < 200000; ++i) {
    std::string msgid(100, 'a');
    msgid[static_cast<size_t>(i) * 37 % 100] = 'b';
    sig += msgid + "\t" + std::to_string(i) + "\n";
  }
  LookUp(state, sig, std::string(100, 'a'), "");
}
BENCHMARK(SigAlikeButOneByteEach);

void SigShortUnlike(benchmark::State& state) { LookUp(state, SigOfLines("aaaaaaaa"), Msgid(1), ""); }
BENCHMARK(SigShortUnlike);

void SigShortAlikeButOneByteEach(benchmark::State& state) {
  std::string sig;
  for (int i = 1; sig.size() < 200000; ++i) {
    std::string msgid(8, 'a');
    msgid[static_cast<size_t>(i) * 3 % 8] = 'b';
    sig += msgid + "\t" + std::to_string(i) + "\n";
  }
  LookUp(state, sig, "aaaaaaaa", "");
}
BENCHMARK(SigShortAlikeButOneByteEach);

void PtrScanOfAFile(benchmark::State& state) {
  const std::string content = PtrFile();
  const TemporaryFile ptr(content);
  for (auto _ : state) benchmark::DoNotOptimize(ScanPtrFile(ptr.path(), kMessages, kMessages));
  Count(state, content.size());
}
BENCHMARK(PtrScanOfAFile);

void InboundText(benchmark::State& state) {
  const std::string text = Text();
  InboundMessage message;
  for (auto _ : state) benchmark::DoNotOptimize(ParseInboundText(text.data(), text.size(), &message));
  Count(state, text.size());
}
BENCHMARK(InboundText);

void Utf8Text(benchmark::State& state) {
  std::string text;
  while (text.size() < 1200) text += "Grüße aus Köln \xE2\x80\x93 schön war\xE2\x80\x99s, und nächstes Jahr wieder\x01";
  std::string work = text;
  for (auto _ : state) {
    memcpy(work.data(), text.data(), text.size());
    benchmark::DoNotOptimize(Utf8ToCp437(reinterpret_cast<uint8_t*>(work.data()), work.size()));
  }
  Count(state, text.size());
}
BENCHMARK(Utf8Text);

// Every message is taken apart and then has nowhere to go.
void PacketWalkOf200kB(benchmark::State& state) {
  const QuietSite quiet;
  const std::string packet = Packet();
  for (auto _ : state) {
    if (TossPacket(quiet.site(), Bytes(packet), packet.size()) != PacketDone) return state.SkipWithError("not done");
  }
  Count(state, packet.size());
}
BENCHMARK(PacketWalkOf200kB);

// The same packet out of a bundle: the difference to the walk is the inflating.
void BundleOf200kB(benchmark::State& state) {
  const QuietSite quiet;
  const std::string packet = Packet();
  z_stream stream = {};
  std::string data(packet.size(), '\0');
  if (deflateInit2(&stream, 6, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) != Z_OK) abort();
  stream.next_in = const_cast<Bytef*>(Bytes(packet));
  stream.avail_in = static_cast<uInt>(packet.size());
  stream.next_out = reinterpret_cast<Bytef*>(data.data());
  stream.avail_out = static_cast<uInt>(data.size());
  if (deflate(&stream, Z_FINISH) != Z_STREAM_END) abort();
  data.resize(stream.total_out);
  (void)deflateEnd(&stream);

  ZipLocalHeader header;
  header.method = kZipDeflated;
  header.compressed_size = static_cast<uint32_t>(data.size());
  header.uncompressed_size = static_cast<uint32_t>(packet.size());
  header.name_length = 1;
  uint8_t bytes[kZipLocalHeaderSize];
  PackZipLocalHeader(header, bytes);
  const std::string bundle = std::string(reinterpret_cast<const char*>(bytes), sizeof bytes) + "p" + data;
  for (auto _ : state) {
    if (TossZipBundle(quiet.site(), Bytes(bundle), bundle.size()) != PacketDone) {
      return state.SkipWithError("not done");
    }
  }
  Count(state, packet.size());
}
BENCHMARK(BundleOf200kB);

}  // namespace

BENCHMARK_MAIN();
