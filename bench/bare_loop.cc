// The yardstick of the toss: the file work that storing messages requires, and nothing else.
//
//   bare_loop MSGDIR INBOUND PROCESSED CONFERENCES PLAN LOG
//
// No packet is inflated or parsed, no SIG line compared, no PTR record examined, no line formatted. What is left:
//   once     for every conference the status of PTR, DAT and IDX, and its PTR file read whole (the preflight);
//            every inbound file read whole, and renamed into PROCESSED at the end
//   message  SIG opened, sized, read whole, closed                        4 calls, 1 while the file is missing
//            the status of PTR, DAT and IDX                               3
//            PTR opened, read whole in pieces, closed                     3, more when it is larger than a piece
//            the status of SIG                                            1
//            DAT, IDX, PTR and SIG opened (or created), then each         12
//            written once at its old end, then each closed
//            one line appended to LOG, for the log has to be complete      1
//            whatever happens next
// A write through a descriptor has reached the system when it returns, so that flushing takes no call.
//
// PLAN has three 32-bit numbers for each message: its conference, its DAT records and the length of its SIG line.
#include <dirent.h>

#include "raw_file.h"

namespace {

constexpr size_t kIdxSize = 16;
constexpr size_t kMostDatBytes = kDatSize * 65536;

uint8_t filler[kMostDatBytes];

struct Step {
  uint32_t conference;
  uint32_t dat_records;
  uint32_t sig_size;
};

struct Addition {
  const char* path;
  int64_t at;  // -1: the file is missing
  size_t size;
  int descriptor;
};

void Open(Addition* file) {
  const int missing = file->at < 0 ? O_CREAT | O_EXCL : 0;
  file->descriptor = open(file->path, O_RDWR | O_CLOEXEC | missing, 0666);
  if (file->descriptor < 0) Die(file->path);
}

void Write(const Addition& file) {
  const ssize_t put = pwrite(file.descriptor, filler, file.size, file.at < 0 ? 0 : file.at);
  if (put != static_cast<ssize_t>(file.size)) Die(file.path);
}

void Store(const char* msg_dir, int log, const Step& step) {
  const Base base(msg_dir, step.conference);
  ReadIfThere(base.sig);
  const int64_t ptr = SizeOf(base.ptr);
  const int64_t dat = SizeOf(base.dat);
  const int64_t idx = SizeOf(base.idx);
  if (ptr > 0) ReadInPieces(base.ptr, ptr);
  const int64_t sig = SizeOf(base.sig);
  Addition files[] = {{base.dat, dat, step.dat_records * kDatSize, -1},
                      {base.idx, idx, kIdxSize, -1},
                      {base.ptr, ptr, kPtrSize, -1},
                      {base.sig, sig, step.sig_size, -1}};
  for (Addition& file : files) Open(&file);
  for (const Addition& file : files) Write(file);
  for (const Addition& file : files) {
    if (close(file.descriptor) != 0) Die(file.path);
  }
  if (write(log, filler, kLogLineSize) != static_cast<ssize_t>(kLogLineSize)) Die("log");
}

// Reads every inbound file, or moves it when `target` is given.
void WalkInbound(const char* inbound, const char* target) {
  DIR* const list = opendir(inbound);
  if (list == nullptr) Die(inbound);
  while (const dirent* const entry = readdir(list)) {
    if (entry->d_name[0] == '.') continue;
    char from[kPathSize];
    char to[kPathSize];
    (void)snprintf(from, sizeof from, "%s/%s", inbound, entry->d_name);
    if (target == nullptr) {
      ReadIfThere(from);
      continue;
    }
    (void)snprintf(to, sizeof to, "%s/%s", target, entry->d_name);
    if (rename(from, to) != 0) Die(from);
  }
  (void)closedir(list);
}

void FollowPlan(const char* msg_dir, const char* plan, const char* log_path) {
  const int log = open(log_path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
  FILE* const file = fopen(plan, "rb");
  if (log < 0 || file == nullptr) Die(plan);
  Step step;
  while (fread(&step, sizeof step, 1, file) == 1) Store(msg_dir, log, step);
  (void)fclose(file);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 7) {
    (void)fputs("usage: bare_loop MSGDIR INBOUND PROCESSED CONFERENCES PLAN LOG\n", stderr);
    return 2;
  }
  const char* const msg_dir = argv[1];
  const auto conferences = static_cast<unsigned int>(strtoul(argv[4], nullptr, 10));
  for (unsigned int c = 1; c <= conferences; ++c) Preflight(msg_dir, c);
  WalkInbound(argv[2], nullptr);
  FollowPlan(msg_dir, argv[5], argv[6]);
  WalkInbound(argv[2], argv[3]);
  return 0;
}
