#include "unit/support/scoped_door.h"

#include <cerrno>
#include <cstdlib>
#include <map>
#include <utility>

namespace {

ScopedDoor* current = nullptr;
OsTable next;  // the table behind the door
std::map<intptr_t, std::string> open_files;
std::map<void*, std::string> open_lists;

bool EndsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

bool Matches(Call wanted, const std::string& path_end, Call call, const std::string& path) {
  return (wanted == Call::kAny || wanted == call) && EndsWith(path, path_end);
}

std::string PathOf(intptr_t handle) {
  const auto found = open_files.find(handle);
  return found != open_files.end() ? found->second : "";
}

std::string PathOf(void* list) {
  const auto found = open_lists.find(list);
  return found != open_lists.end() ? found->second : "";
}

OsResult Open(const char* path, OsOpenMode mode, intptr_t* handle, int* error) {
  const ScopedDoor::Verdict verdict = current->Judge(Call::kOpen, path);
  if (verdict.fails) {
    *error = verdict.answer == kOsMissing ? ENOENT : verdict.answer == kOsExists ? EEXIST : EACCES;
    return verdict.answer;
  }
  const OsResult result = next.Open(path, mode, handle, error);
  if (result == kOsOk) open_files[*handle] = path;
  return result;
}

int64_t Size(intptr_t handle) { return current->Judge(Call::kSize, PathOf(handle)).fails ? -1 : next.Size(handle); }

int64_t ReadAt(intptr_t handle, int64_t at, void* to, size_t size) {
  const ScopedDoor::Verdict verdict = current->Judge(Call::kReadAt, PathOf(handle));
  if (verdict.is_short) return size < 2 ? 0 : next.ReadAt(handle, at, to, size / 2);
  return verdict.fails ? -1 : next.ReadAt(handle, at, to, size);
}

int64_t WriteAt(intptr_t handle, int64_t at, const void* from, size_t size) {
  const ScopedDoor::Verdict verdict = current->Judge(Call::kWriteAt, PathOf(handle));
  if (verdict.is_short) return size < 2 ? 0 : next.WriteAt(handle, at, from, size / 2);
  if (verdict.fails) return verdict.answer == kOsUnseekable ? -2 : -1;
  return next.WriteAt(handle, at, from, size);
}

int64_t Write(intptr_t handle, const void* from, size_t size) {
  const ScopedDoor::Verdict verdict = current->Judge(Call::kWrite, PathOf(handle));
  if (verdict.is_short) return size < 2 ? 0 : next.Write(handle, from, size / 2);
  return verdict.fails ? -1 : next.Write(handle, from, size);
}

int Flush(intptr_t handle) { return current->Judge(Call::kFlush, PathOf(handle)).fails ? -1 : next.Flush(handle); }

int SetSize(intptr_t handle, int64_t size) {
  return current->Judge(Call::kSetSize, PathOf(handle)).fails ? -1 : next.SetSize(handle, size);
}

int Close(intptr_t handle) {
  const bool fails = current->Judge(Call::kClose, PathOf(handle)).fails;
  open_files.erase(handle);
  const int result = next.Close(handle);
  return fails ? -1 : result;
}

OsResult Stat(const char* path, OsStatus* status) {
  const ScopedDoor::Verdict verdict = current->Judge(Call::kStat, path);
  return verdict.fails ? verdict.answer : next.Stat(path, status);
}

OsResult SameFile(const char* left, const char* right) {
  const ScopedDoor::Verdict verdict = current->Judge(Call::kSameFile, left);
  return verdict.fails ? verdict.answer : next.SameFile(left, right);
}

OsResult Remove(const char* path) {
  const ScopedDoor::Verdict verdict = current->Judge(Call::kRemove, path);
  return verdict.fails ? verdict.answer : next.Remove(path);
}

OsResult RemoveUnchanged(const char* path, int64_t modified) {
  const ScopedDoor::Verdict verdict = current->Judge(Call::kRemoveUnchanged, path);
  return verdict.fails ? verdict.answer : next.RemoveUnchanged(path, modified);
}

OsResult Rename(const char* from, const char* to) {
  const ScopedDoor::Verdict verdict = current->Judge(Call::kRename, to);
  return verdict.fails ? verdict.answer : next.Rename(from, to);
}

OsResult MakeDirectory(const char* path) {
  const ScopedDoor::Verdict verdict = current->Judge(Call::kMakeDirectory, path);
  return verdict.fails ? verdict.answer : next.MakeDirectory(path);
}

OsResult ListOpen(const char* path, void** list) {
  const ScopedDoor::Verdict verdict = current->Judge(Call::kListOpen, path);
  if (verdict.fails) return verdict.answer;
  const OsResult result = next.ListOpen(path, list);
  if (result == kOsOk) open_lists[*list] = path;
  return result;
}

OsResult ListNext(void* list, char* name, size_t size) {
  const ScopedDoor::Verdict verdict = current->Judge(Call::kListNext, PathOf(list));
  return verdict.fails ? verdict.answer : next.ListNext(list, name, size);
}

void ListClose(void* list) {
  open_lists.erase(list);
  next.ListClose(list);
}

void* Allocate(size_t size) { return current->Judge(Call::kAllocate, "").fails ? nullptr : next.Allocate(size); }

void* Reallocate(void* block, size_t size) {
  return current->Judge(Call::kReallocate, "").fails ? nullptr : next.Reallocate(block, size);
}

}  // namespace

ScopedDoor::ScopedDoor() : before_(OsInForce()) {
  if (current != nullptr) abort();  // one door is enough; a second would call itself
  current = this;
  next = before_;
  OsTable& table = OsInForce();
  table.Open = Open;
  table.Size = Size;
  table.ReadAt = ReadAt;
  table.WriteAt = WriteAt;
  table.Write = Write;
  table.Flush = Flush;
  table.SetSize = SetSize;
  table.Close = Close;
  table.Stat = Stat;
  table.SameFile = SameFile;
  table.Remove = Remove;
  table.RemoveUnchanged = RemoveUnchanged;
  table.Rename = Rename;
  table.MakeDirectory = MakeDirectory;
  table.ListOpen = ListOpen;
  table.ListNext = ListNext;
  table.ListClose = ListClose;
  table.Allocate = Allocate;
  table.Reallocate = Reallocate;
}

ScopedDoor::~ScopedDoor() {
  OsInForce() = before_;
  current = nullptr;
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
  for (const Seen& seen : calls_) count += Matches(call, path_end, seen.call, seen.path) ? 1 : 0;
  return count;
}

int ScopedDoor::OpenHandles() const { return static_cast<int>(open_files.size() + open_lists.size()); }

ScopedDoor::Verdict ScopedDoor::Judge(Call call, const std::string& path) {
  Verdict verdict;
  calls_.push_back({call, path});
  for (Rule& rule : rules_) {
    if (!Matches(rule.fault.call, rule.fault.path_end, call, path)) continue;
    ++rule.seen;
    if (rule.seen != rule.fault.nth && !(rule.fault.for_good && rule.seen > rule.fault.nth)) continue;
    if (rule.action) {
      rule.action();
      continue;
    }
    ++struck_;
    rule.has_struck = true;
    verdict.fails = !rule.fault.is_short;
    verdict.is_short = rule.fault.is_short;
    verdict.answer = rule.fault.answer;
  }
  return verdict;
}
