// The yardstick of the scan: the file work that exporting messages requires, and nothing else.
//
//   bare_scan MSGDIR OUTDIR CONFERENCES LOG
//
// No text is converted, no checksum computed, no line formatted; of a header only the bytes that say whether its
// message is unsent, and where its text is. What is left:
//   once     for every conference the status of PTR, DAT and IDX, and its PTR file read whole (the preflight), then
//   read
//            whole once more
//            the packet written, read back and removed; written again under a temporary name, then renamed
//            waits for the serial file, for the bundle, for its name, and at the end for all SIG and PTR files
//   message  DAT opened, the text read, closed                            3 calls
//            CVOUTBOUND.SEQ opened, sized, read, overwritten, closed      5
//            one line appended to LOG, for the log has to be complete     1
//   and once the bundle is published
//            the status of SIG; SIG opened, a line appended, closed       4
//            PTR opened, MsgSent written, closed                          3
#include <cstring>
#include <vector>

#include "raw_file.h"

namespace {

constexpr size_t kSentAt = 153;
constexpr size_t kDeletedAt = 158;
constexpr size_t kWhereAt = 160;
constexpr size_t kRecordsAt = 162;
constexpr size_t kPackedSize = 256;  // of a message in the packet, beside its text
constexpr char kSigLine[] = "2:999/42 00000001\t1001\r\n";

struct Unsent {
  unsigned int conference;
  off_t sent_at;  // where its MsgSent is in the PTR file
};

struct Scan {
  const char* msg_dir;
  const char* out_dir;
  int log;
  char serial[kPathSize] = {};
  std::vector<Unsent> queue = {};
  std::vector<char> packet = {};
};

int OpenOrDie(const char* path, int flags) {
  const int descriptor = open(path, flags | O_CLOEXEC, 0666);
  if (descriptor < 0) Die(path);
  return descriptor;
}

void CloseOrDie(int descriptor) {
  if (close(descriptor) != 0) Die("close");
}

void WriteOrDie(int descriptor, const void* from, size_t size) {
  if (write(descriptor, from, size) != static_cast<ssize_t>(size)) Die("write");
}

void NextSerial(const Scan& scan) {
  const int file = OpenOrDie(scan.serial, O_RDWR | O_CREAT);
  char text[16] = {};
  const off_t size = lseek(file, 0, SEEK_END);
  if (pread(file, text, sizeof text, 0) != size) Die(scan.serial);
  const int length = snprintf(text, sizeof text, "%lu\n", strtoul(text, nullptr, 10) + 1);
  if (pwrite(file, text, static_cast<size_t>(length), 0) != length) Die(scan.serial);
  CloseOrDie(file);
}

size_t Number(const unsigned char* at) { return at[0] | static_cast<size_t>(at[1]) << 8; }

void Pack(const Base& base, const unsigned char* header, Scan* scan) {
  const size_t size = Number(header + kRecordsAt) * kDatSize;
  const size_t end = scan->packet.size();
  scan->packet.resize(end + size + kPackedSize);
  const int dat = OpenOrDie(base.dat, O_RDONLY);
  const auto at = static_cast<off_t>(Number(header + kWhereAt) * kDatSize);
  if (pread(dat, scan->packet.data() + end, size, at) != static_cast<ssize_t>(size)) Die(base.dat);
  CloseOrDie(dat);
  NextSerial(*scan);
  char line[kLogLineSize] = {};
  WriteOrDie(scan->log, line, sizeof line);
}

void ScanConference(unsigned int conference, Scan* scan) {
  static unsigned char piece[kPieceSize];
  const Base base(scan->msg_dir, conference);
  const int ptr = OpenOrDie(base.ptr, O_RDONLY);
  off_t at = 0;
  for (ssize_t got = 0; (got = pread(ptr, piece, sizeof piece, at)) > 0;) {
    for (const unsigned char* header = piece; header < piece + got; header += kPtrSize, at += kPtrSize) {
      if (header[kSentAt] != 0 || header[kDeletedAt] != 0) continue;
      Pack(base, header, scan);
      scan->queue.push_back({conference, at + static_cast<off_t>(kSentAt)});
    }
  }
  CloseOrDie(ptr);
}

void WritePacket(const char* path, const Scan& scan, bool wait) {
  const int file = OpenOrDie(path, O_RDWR | O_CREAT | O_TRUNC);
  WriteOrDie(file, scan.packet.data(), scan.packet.size());
  if (wait && fdatasync(file) != 0) Die(path);
  CloseOrDie(file);
}

void Wait(const char* path, int (*sync)(int)) {
  const int descriptor = OpenOrDie(path, O_RDONLY);
  if (sync(descriptor) != 0) Die(path);
  CloseOrDie(descriptor);
}

void Publish(Scan* scan) {
  char packet[kPathSize];
  char temporary[kPathSize];
  char published[kPathSize];
  (void)snprintf(packet, sizeof packet, "%s/CVOUTBOUND.PKT", scan->msg_dir);
  (void)snprintf(temporary, sizeof temporary, "%s/00000000.su0.tmp", scan->out_dir);
  (void)snprintf(published, sizeof published, "%s/00000000.su0", scan->out_dir);
  WritePacket(packet, *scan, false);
  const int file = OpenOrDie(packet, O_RDONLY);
  if (read(file, scan->packet.data(), scan->packet.size()) != static_cast<ssize_t>(scan->packet.size())) Die(packet);
  CloseOrDie(file);
  if (unlink(packet) != 0) Die(packet);
  Wait(scan->serial, fdatasync);
  WritePacket(temporary, *scan, true);
  if (rename(temporary, published) != 0) Die(published);
  Wait(scan->out_dir, fsync);
}

void Commit(const Scan& scan) {
  constexpr char kSent = 1;
  for (const Unsent& message : scan.queue) {
    const Base base(scan.msg_dir, message.conference);
    if (SizeOf(base.sig) < 0) Die(base.sig);
    const int sig = OpenOrDie(base.sig, O_WRONLY | O_APPEND);
    WriteOrDie(sig, kSigLine, strlen(kSigLine));
    CloseOrDie(sig);
    const int ptr = OpenOrDie(base.ptr, O_RDWR);
    if (pwrite(ptr, &kSent, 1, message.sent_at) != 1) Die(base.ptr);
    CloseOrDie(ptr);
  }
  Wait(scan.msg_dir, syncfs);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) {
    (void)fputs("usage: bare_scan MSGDIR OUTDIR CONFERENCES LOG\n", stderr);
    return 2;
  }
  Scan scan = {argv[1], argv[2], OpenOrDie(argv[4], O_WRONLY | O_CREAT | O_APPEND)};
  (void)snprintf(scan.serial, sizeof scan.serial, "%s/CVOUTBOUND.SEQ", scan.msg_dir);
  const auto conferences = static_cast<unsigned int>(strtoul(argv[3], nullptr, 10));
  for (unsigned int c = 1; c <= conferences; ++c) Preflight(scan.msg_dir, c);
  for (unsigned int c = 1; c <= conferences; ++c) ScanConference(c, &scan);
  Publish(&scan);
  Commit(scan);
  return 0;
}
