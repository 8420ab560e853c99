#include "platform/os.h"

#include <algorithm>

namespace {

// The most that one call is sure to accept on both systems.
constexpr size_t kLargestCall = size_t{1} << 30;

OsTable in_force = kOsNative;

}  // namespace

OsTable& OsInForce() { return in_force; }

OsFile::~OsFile() { (void)OsClose(this); }

OsList::~OsList() { OsListClose(this); }

OsResult OsOpen(const OsPlace& place, OsOpenMode mode, OsFile* file, int* error) {
  int ignored = 0;
  return in_force.Open(place, mode, &file->handle, error != nullptr ? error : &ignored);
}

OsResult OsIdentify(const OsFile& file, OsIdentity* identity) { return in_force.Identify(file.handle, identity); }

int64_t OsSize(const OsFile& file) { return in_force.Size(file.handle); }

OsReadResult OsReadAt(const OsFile& file, int64_t at, void* to, size_t size) {
  OsReadResult result;
  auto* bytes = static_cast<uint8_t*>(to);
  while (result.bytes < size) {
    const int64_t got = in_force.ReadAt(file.handle, at + static_cast<int64_t>(result.bytes), bytes + result.bytes,
                                        std::min(size - result.bytes, kLargestCall));
    if (got <= 0) {
      result.failed = got < 0;
      return result;
    }
    result.bytes += static_cast<size_t>(got);
  }
  return result;
}

OsResult OsWriteAt(const OsFile& file, int64_t at, const void* from, size_t size) {
  const auto* bytes = static_cast<const uint8_t*>(from);
  size_t done = 0;
  while (done < size) {
    const int64_t put = in_force.WriteAt(file.handle, at + static_cast<int64_t>(done), bytes + done,
                                         std::min(size - done, kLargestCall));
    if (put <= 0) return put == kOsNoPositions ? kOsUnseekable : kOsFailed;
    done += static_cast<size_t>(put);
  }
  return kOsOk;
}

int OsWrite(const OsFile& file, const void* from, size_t size) {
  const auto* bytes = static_cast<const uint8_t*>(from);
  size_t done = 0;
  while (done < size) {
    const int64_t put = in_force.Write(file.handle, bytes + done, std::min(size - done, kLargestCall));
    if (put <= 0) return -1;
    done += static_cast<size_t>(put);
  }
  return 0;
}

int64_t OsWriteOnce(const OsFile& file, const void* from, size_t size) {
  return in_force.Write(file.handle, from, size);
}

int OsSetSize(const OsFile& file, int64_t size) { return in_force.SetSize(file.handle, size); }

int OsSyncFile(const OsFile& file) { return in_force.SyncFile(file.handle); }

int OsSyncFiles(const OsPlace& directory, const OsSyncItem* items, size_t count) {
  return in_force.SyncFiles(directory, items, count);
}

int OsSyncDirectory(const OsPlace& directory) { return in_force.SyncDirectory(directory); }

int OsClose(OsFile* file) {
  if (!file->IsOpen()) return 0;
  const intptr_t handle = file->handle;
  file->handle = kOsNone;
  return in_force.Close(handle);
}

int OsTouch(const OsFile& file) { return in_force.Touch(file.handle); }

OsResult OsStat(const OsPlace& place, OsStatus* status) { return in_force.Stat(place, status); }

OsSameness OsSameFile(const OsPlace& source, const OsPlace& other) { return in_force.SameFile(source, other); }

OsResult OsRemove(const OsPlace& place, const OsIdentity* only) { return in_force.Remove(place, only); }

OsResult OsRemoveUnchanged(const char* path, int64_t modified) { return in_force.RemoveUnchanged(path, modified); }

OsResult OsRename(const OsPlace& from, const OsPlace& to, const OsIdentity* only) {
  return in_force.Rename(from, to, only);
}

OsResult OsMakeDirectory(const char* path) { return in_force.MakeDirectory(path); }

OsDirectory::~OsDirectory() {
  if (handle != kOsNone) in_force.CloseDirectory(handle);
}

OsResult OsOpenDirectory(const char* path, OsTrust trust, OsDirectory* directory) {
  return in_force.OpenDirectory(path, trust, &directory->handle);
}

OsResult OsListOpen(const char* path, OsList* list) { return in_force.ListOpen(path, &list->handle); }

OsResult OsListNext(OsList* list, char (&name)[kOsNameSize]) {
  return in_force.ListNext(list->handle, name, sizeof name);
}

void OsListClose(OsList* list) {
  if (list->handle == nullptr) return;
  in_force.ListClose(list->handle);
  list->handle = nullptr;
}

void* OsAllocate(size_t size) { return in_force.Allocate(size); }
void* OsReallocate(void* block, size_t size) { return in_force.Reallocate(block, size); }
void OsRelease(void* block) { in_force.Release(block); }

int64_t OsNow() { return in_force.Now(); }
int64_t OsUptime() { return in_force.Uptime(); }
int OsLocalTime(int64_t when, OsCalendar* calendar) { return in_force.LocalTime(when, calendar); }
int OsUtcTime(int64_t when, OsCalendar* calendar) { return in_force.UtcTime(when, calendar); }
void OsSleep(uint32_t milliseconds) { in_force.Sleep(milliseconds); }
uint32_t OsProcessId() { return in_force.ProcessId(); }
OsResult OsFindProcess(uint32_t id) { return in_force.FindProcess(id); }
size_t OsProgramPath(char* path, size_t size) { return in_force.ProgramPath(path, size); }
void OsShow(OsStream stream, const char* text, size_t size) { in_force.Show(stream, text, size); }
bool OsIsTerminal(OsStream stream) { return in_force.IsTerminal(stream); }
void OsShowUtf8(OsStream stream, const char* text, size_t size) { in_force.ShowUtf8(stream, text, size); }
void OsPrepareProcess() { in_force.PrepareProcess(); }
void OsInstallBreakHandler() { in_force.InstallBreakHandler(); }
void OsSetBreakFile(const char* path, const char* contents) { in_force.SetBreakFile(path, contents); }
