#include "unit/support/scoped_door.h"

#include <cerrno>
#include <cstdlib>
#include <map>
#include <utility>

namespace {

ScopedDoor* current_door = nullptr;
OsTable next;  // the table behind the door

struct OpenFile {
  std::string path;
  OsOpenMode mode = kOsRead;
};

std::map<intptr_t, OpenFile> open_files;
std::map<void*, std::string> open_lists;

bool Matches(Call wanted, const std::string& path_end, Call call, const std::string& path) {
  return (wanted == Call::kAny || wanted == call) && path.ends_with(path_end);
}

const OpenFile& FileOf(intptr_t handle) {
  static const OpenFile unknown;
  const auto found = open_files.find(handle);
  return found != open_files.end() ? found->second : unknown;
}

std::string PathOf(void* list) {
  const auto found = open_lists.find(list);
  return found != open_lists.end() ? found->second : "";
}

ScopedDoor::Verdict JudgeFile(Call call, intptr_t handle, size_t size = 0) {
  const OpenFile& file = FileOf(handle);
  return current_door->Judge(call, file.path, file.mode, size);
}

// Records the answer and returns it.
template <class Answer>
Answer Noted(const ScopedDoor::Verdict& verdict, Answer answer) {
  current_door->Record(verdict).answer = static_cast<int64_t>(answer);
  return answer;
}

OsResult Open(const OsPlace& place, OsOpenMode mode, intptr_t* handle, int* error) {
  const ScopedDoor::Verdict verdict = current_door->Judge(Call::kOpen, place.path, mode);
  if (verdict.fails) {
    *error = verdict.answer == kOsMissing ? ENOENT : verdict.answer == kOsExists ? EEXIST : EACCES;
    return Noted(verdict, verdict.answer);
  }
  const OsResult result = next.Open(place, mode, handle, error);
  if (result == kOsOk) open_files[*handle] = {place.path, mode};
  return Noted(verdict, result);
}

OsResult Identify(intptr_t handle, OsIdentity* identity) {
  const ScopedDoor::Verdict verdict = JudgeFile(Call::kIdentify, handle);
  return Noted(verdict, verdict.fails ? verdict.answer : next.Identify(handle, identity));
}

int64_t Size(intptr_t handle) {
  const ScopedDoor::Verdict verdict = JudgeFile(Call::kSize, handle);
  return Noted(verdict, verdict.fails ? -1 : next.Size(handle));
}

// Transfers all the bytes, half of them, or none.
template <class Move>
int64_t MoveBytes(Call call, intptr_t handle, size_t size, const Move& move) {
  const ScopedDoor::Verdict verdict = JudgeFile(call, handle, size);
  if (verdict.is_short) return Noted(verdict, size < 2 ? 0 : move(size / 2));
  if (verdict.fails)
    return Noted(verdict, verdict.answer == kOsUnseekable && call == Call::kWriteAt ? kOsNoPositions : -1);
  return Noted(verdict, move(size));
}

int64_t ReadAt(intptr_t handle, int64_t at, void* to, size_t size) {
  return MoveBytes(Call::kReadAt, handle, size, [&](size_t part) { return next.ReadAt(handle, at, to, part); });
}

int64_t WriteAt(intptr_t handle, int64_t at, const void* from, size_t size) {
  return MoveBytes(Call::kWriteAt, handle, size, [&](size_t part) { return next.WriteAt(handle, at, from, part); });
}

int64_t Write(intptr_t handle, const void* from, size_t size) {
  return MoveBytes(Call::kWrite, handle, size, [&](size_t part) { return next.Write(handle, from, part); });
}

int SetSize(intptr_t handle, int64_t size) {
  const ScopedDoor::Verdict verdict = JudgeFile(Call::kSetSize, handle);
  return Noted(verdict, verdict.fails ? -1 : next.SetSize(handle, size));
}

// Files of a test need not survive a power cut, so the system is not asked to sync.
int SyncFile(intptr_t handle) {
  const ScopedDoor::Verdict verdict = JudgeFile(Call::kSyncFile, handle);
  const bool waits = next.SyncFile != kOsNative.SyncFile;
  return Noted(verdict, verdict.fails ? -1 : waits ? next.SyncFile(handle) : 0);
}

int SyncFiles(const OsPlace& directory, const OsSyncItem* items, size_t count) {
  const ScopedDoor::Verdict verdict = current_door->Judge(Call::kSyncFiles, directory.path);
  std::string& names = current_door->Record(verdict).items;
  for (size_t i = 0; i < count; ++i) names += std::string(items[i].name) + (items[i].last ? "* " : " ");
  const bool waits = next.SyncFiles != kOsNative.SyncFiles;
  return Noted(verdict, verdict.fails ? -1 : waits ? next.SyncFiles(directory, items, count) : 0);
}

int SyncDirectory(const OsPlace& directory) {
  const ScopedDoor::Verdict verdict = current_door->Judge(Call::kSyncDirectory, directory.path);
  const bool waits = next.SyncDirectory != kOsNative.SyncDirectory;
  return Noted(verdict, verdict.fails ? -1 : waits ? next.SyncDirectory(directory) : 0);
}

int Close(intptr_t handle) {
  const ScopedDoor::Verdict verdict = JudgeFile(Call::kClose, handle);
  open_files.erase(handle);
  const int result = next.Close(handle);
  return Noted(verdict, verdict.fails ? -1 : result);
}

int Touch(intptr_t handle) {
  const ScopedDoor::Verdict verdict = JudgeFile(Call::kTouch, handle);
  return Noted(verdict, verdict.fails ? -1 : next.Touch(handle));
}

OsResult Stat(const OsPlace& place, OsStatus* status) {
  const ScopedDoor::Verdict verdict = current_door->Judge(Call::kStat, place.path);
  if (verdict.fails) return Noted(verdict, verdict.answer);
  const OsResult result = next.Stat(place, status);
  if (result == kOsOk) current_door->Record(verdict).found_size = status->size;
  return Noted(verdict, result);
}

OsSameness SameFile(const OsPlace& source, const OsPlace& other) {
  const ScopedDoor::Verdict verdict = current_door->Judge(Call::kSameFile, source.path);
  return Noted(verdict, verdict.fails ? kOsNotTold : next.SameFile(source, other));
}

OsResult Remove(const OsPlace& place, const OsIdentity* only) {
  const ScopedDoor::Verdict verdict = current_door->Judge(Call::kRemove, place.path);
  return Noted(verdict, verdict.fails ? verdict.answer : next.Remove(place, only));
}

OsResult RemoveUnchanged(const char* path, int64_t modified) {
  const ScopedDoor::Verdict verdict = current_door->Judge(Call::kRemoveUnchanged, path);
  return Noted(verdict, verdict.fails ? verdict.answer : next.RemoveUnchanged(path, modified));
}

OsResult Rename(const OsPlace& from, const OsPlace& to, const OsIdentity* only) {
  const ScopedDoor::Verdict verdict = current_door->Judge(Call::kRename, to.path);
  return Noted(verdict, verdict.fails ? verdict.answer : next.Rename(from, to, only));
}

OsResult MakeDirectory(const char* path) {
  const ScopedDoor::Verdict verdict = current_door->Judge(Call::kMakeDirectory, path);
  return Noted(verdict, verdict.fails ? verdict.answer : next.MakeDirectory(path));
}

OsResult OpenDirectory(const char* path, OsTrust trust, intptr_t* handle) {
  const ScopedDoor::Verdict verdict = current_door->Judge(Call::kOpenDirectory, path);
  return Noted(verdict, verdict.fails ? verdict.answer : next.OpenDirectory(path, trust, handle));
}

OsResult ListOpen(const char* path, void** list) {
  const ScopedDoor::Verdict verdict = current_door->Judge(Call::kListOpen, path);
  if (verdict.fails) return Noted(verdict, verdict.answer);
  const OsResult result = next.ListOpen(path, list);
  if (result == kOsOk) open_lists[*list] = path;
  return Noted(verdict, result);
}

OsResult ListNext(void* list, char* name, size_t size) {
  const ScopedDoor::Verdict verdict = current_door->Judge(Call::kListNext, PathOf(list));
  return Noted(verdict, verdict.fails ? verdict.answer : next.ListNext(list, name, size));
}

void ListClose(void* list) {
  open_lists.erase(list);
  next.ListClose(list);
}

void* NotedMemory(const ScopedDoor::Verdict& verdict, void* block) {
  (void)Noted(verdict, block != nullptr ? 0 : -1);
  return block;
}

void* Allocate(size_t size) {
  const ScopedDoor::Verdict verdict = current_door->Judge(Call::kAllocate, "", kOsRead, size);
  return NotedMemory(verdict, verdict.fails ? nullptr : next.Allocate(size));
}

void* Reallocate(void* block, size_t size) {
  const ScopedDoor::Verdict verdict = current_door->Judge(Call::kReallocate, "", kOsRead, size);
  return NotedMemory(verdict, verdict.fails ? nullptr : next.Reallocate(block, size));
}

}  // namespace

ScopedDoor::ScopedDoor() : before_(OsInForce()) {
  if (current_door != nullptr) abort();  // a second one would call itself
  current_door = this;
  calls_.reserve(512);
  next = before_;
  OsTable& table = OsInForce();
  table.Open = Open;
  table.Identify = Identify;
  table.Size = Size;
  table.ReadAt = ReadAt;
  table.WriteAt = WriteAt;
  table.Write = Write;
  table.SetSize = SetSize;
  table.SyncFile = SyncFile;
  table.SyncFiles = SyncFiles;
  table.SyncDirectory = SyncDirectory;
  table.Close = Close;
  table.Touch = Touch;
  table.Stat = Stat;
  table.SameFile = SameFile;
  table.Remove = Remove;
  table.RemoveUnchanged = RemoveUnchanged;
  table.Rename = Rename;
  table.MakeDirectory = MakeDirectory;
  table.OpenDirectory = OpenDirectory;
  table.ListOpen = ListOpen;
  table.ListNext = ListNext;
  table.ListClose = ListClose;
  table.Allocate = Allocate;
  table.Reallocate = Reallocate;
}

ScopedDoor::~ScopedDoor() {
  OsInForce() = before_;
  current_door = nullptr;
  open_files.clear();
  open_lists.clear();
}

void ScopedDoor::Fail(const Fault& fault) { rules_.push_back({fault, nullptr, 0, false}); }

void ScopedDoor::FailNth(Call call, int nth, const std::string& path_end) {
  Fault fault;
  fault.call = call;
  fault.nth = nth;
  fault.path_end = path_end;
  Fail(fault);
}

void ScopedDoor::FailFrom(Call call, int nth, const std::string& path_end) {
  Fault fault;
  fault.call = call;
  fault.nth = nth;
  fault.for_good = true;
  fault.path_end = path_end;
  Fail(fault);
}

void ScopedDoor::BeforeNth(Call call, int nth, std::function<void()> action, const std::string& path_end) {
  Fault when;
  when.call = call;
  when.nth = nth;
  when.path_end = path_end;
  rules_.push_back({when, std::move(action), 0, false});
}

void ScopedDoor::Clear() {
  rules_.clear();
  struck_ = 0;
}

int ScopedDoor::Count(Call call, const std::string& path_end) const {
  int count = 0;
  for (const CallRecord& seen : calls_) count += Matches(call, path_end, seen.call, seen.path) ? 1 : 0;
  return count;
}

std::vector<std::string> ScopedDoor::Synced() const {
  std::vector<std::string> requests;
  for (const CallRecord& seen : calls_) {
    if (seen.call == Call::kSyncFiles) requests.push_back(seen.items);
  }
  return requests;
}

int ScopedDoor::OpenHandles() const { return static_cast<int>(open_files.size() + open_lists.size()); }

ScopedDoor::Verdict ScopedDoor::Judge(Call call, std::string path, OsOpenMode mode, size_t size) {
  Verdict verdict;
  verdict.record = calls_.size();
  CallRecord record;
  record.call = call;
  record.path = std::move(path);
  record.mode = mode;
  record.size = size;
  calls_.push_back(std::move(record));
  for (Rule& rule : rules_) {
    if (!Matches(rule.fault.call, rule.fault.path_end, call, calls_[verdict.record].path)) continue;
    ++rule.seen;
    if (rule.seen != rule.fault.nth && !(rule.fault.for_good && rule.seen > rule.fault.nth)) continue;
    if (rule.action) {
      rule.action();
      continue;
    }
    ++struck_;
    rule.has_struck = true;
    calls_[verdict.record].struck = true;
    verdict.fails = !rule.fault.is_short;
    verdict.is_short = rule.fault.is_short;
    verdict.answer = rule.fault.answer;
  }
  return verdict;
}
