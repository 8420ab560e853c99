#include "fuzz/support/memory_files.h"

#include <algorithm>
#include <cstring>
#include <set>

#include "fuzz/support/rule.h"

namespace {

struct OpenFile {
  std::string path;
  bool open = false;
  bool append = false;
  size_t at = 0;
};

MemoryFiles* current = nullptr;
std::vector<OpenFile> open_files;

std::string Slashed(const char* path) {
  std::string slashed = path;
  std::replace(slashed.begin(), slashed.end(), '\\', '/');
  return slashed;
}

std::string& Bytes(intptr_t handle) {
  const OpenFile& file = open_files.at(static_cast<size_t>(handle));
  Must(file.open && current->files.count(file.path) == 1, "only a file that is open and there is used");
  return current->files[file.path];
}

OsResult Open(const OsPlace& place, OsOpenMode mode, intptr_t* handle, int*) {
  const std::string name = Slashed(place.path);
  const bool there = current->files.count(name) == 1;
  const bool creates_new = mode == kOsCreateNew || mode == kOsCreateLock;
  if (there && creates_new) return kOsExists;
  if (!there && (mode == kOsRead || mode == kOsReadShared || mode == kOsUpdate)) return kOsMissing;
  std::string& content = current->files[name];
  if (mode == kOsCreate) content.clear();
  open_files.push_back({name, true, mode == kOsAppend || mode == kOsAppendText});
  *handle = static_cast<intptr_t>(open_files.size() - 1);
  return kOsOk;
}

int64_t Size(intptr_t handle) { return static_cast<int64_t>(Bytes(handle).size()); }

int64_t ReadAt(intptr_t handle, int64_t at, void* to, size_t size) {
  const std::string& bytes = Bytes(handle);
  if (static_cast<size_t>(at) >= bytes.size()) return 0;
  const size_t moved = std::min(size, bytes.size() - static_cast<size_t>(at));
  memcpy(to, bytes.data() + at, moved);
  return static_cast<int64_t>(moved);
}

int64_t WriteAt(intptr_t handle, int64_t at, const void* from, size_t size) {
  std::string& bytes = Bytes(handle);
  const auto begin = static_cast<size_t>(at);
  const bool fails = open_files.at(static_cast<size_t>(handle)).path == current->unwritable;
  if (fails) size /= 2;
  if (bytes.size() < begin + size) bytes.resize(begin + size);
  memcpy(&bytes[begin], from, size);
  return fails ? -1 : static_cast<int64_t>(size);
}

int64_t Write(intptr_t handle, const void* from, size_t size) {
  if (size == 0) return 0;
  OpenFile& file = open_files.at(static_cast<size_t>(handle));
  if (file.append) file.at = Bytes(handle).size();
  const int64_t moved = WriteAt(handle, static_cast<int64_t>(file.at), from, size);
  if (moved > 0) file.at += static_cast<size_t>(moved);
  return moved;
}

int SetSize(intptr_t handle, int64_t size) {
  Bytes(handle).resize(static_cast<size_t>(size));
  return 0;
}

int SyncFile(intptr_t) { return 0; }
int SyncFiles(const OsPlace&, const OsSyncItem*, size_t) { return 0; }
int SyncDirectory(const OsPlace&) { return 0; }

int Close(intptr_t handle) {
  OpenFile& file = open_files.at(static_cast<size_t>(handle));
  Must(file.open, "a file is closed once");
  file.open = false;
  return 0;
}

// The names in a directory, which exists if a file is in it.
std::set<std::string> NamesIn(const std::string& directory) {
  std::set<std::string> names;
  const std::string start = directory + "/";
  for (auto file = current->files.lower_bound(start); file != current->files.end(); ++file) {
    if (file->first.compare(0, start.size(), start) != 0) break;
    names.insert(file->first.substr(start.size(), file->first.find('/', start.size()) - start.size()));
  }
  return names;
}

OsResult Stat(const OsPlace& place, OsStatus* status) {
  const auto found = current->files.find(Slashed(place.path));
  if (found == current->files.end()) {
    status->kind = kOsDirectory;
    return NamesIn(Slashed(place.path)).empty() ? kOsMissing : kOsOk;
  }
  status->kind = kOsRegularFile;
  status->size = static_cast<int64_t>(found->second.size());
  status->modified = MemoryFiles::kNow;
  return kOsOk;
}

OsSameness SameFile(const OsPlace& source, const OsPlace& other) {
  return Slashed(source.path) == Slashed(other.path) ? kOsSame : kOsDifferent;
}

OsResult Remove(const OsPlace& place, const OsIdentity*) {
  return current->files.erase(Slashed(place.path)) == 1 ? kOsOk : kOsMissing;
}

OsResult RemoveUnchanged(const char* path, int64_t modified) {
  return modified == MemoryFiles::kNow ? Remove(path, nullptr) : kOsExists;
}

OsResult Rename(const OsPlace& from, const OsPlace& to, const OsIdentity*) {
  if (current->files.count(Slashed(from.path)) == 0) return kOsFailed;
  if (current->files.count(Slashed(to.path)) == 1) return kOsExists;
  auto moved = current->files.extract(Slashed(from.path));
  moved.key() = Slashed(to.path);
  current->files.insert(std::move(moved));
  return kOsOk;
}

OsResult MakeDirectory(const char*) { return kOsOk; }

OsResult ListOpen(const char* path, void** list) {
  *list = new std::set<std::string>(NamesIn(Slashed(path)));
  return kOsOk;
}

OsResult ListNext(void* list, char* name, size_t size) {
  auto* const left = static_cast<std::set<std::string>*>(list);
  if (left->empty()) return kOsMissing;
  const std::string next = left->extract(left->begin()).value();
  Must(next.size() < size, "names in memory are short");
  memcpy(name, next.c_str(), next.size() + 1);
  return kOsOk;
}

void ListClose(void* list) { delete static_cast<std::set<std::string>*>(list); }

OsResult OpenDirectory(const char*, OsTrust, intptr_t*) { return kOsOk; }

int Touch(intptr_t) { return 0; }

void* Allocate(size_t size) { return size > MemoryFiles::kMostMemory ? nullptr : kOsNative.Allocate(size); }

void* Reallocate(void* block, size_t size) {
  return size > MemoryFiles::kMostMemory ? nullptr : kOsNative.Reallocate(block, size);
}

int64_t Now() { return MemoryFiles::kNow; }

void Sleep(uint32_t) {}

uint32_t ProcessId() { return 4120; }

size_t ProgramPath(char* path, size_t size) {
  constexpr char kPath[] = "prog/cvtoss32";
  memcpy(path, kPath, std::min(size, sizeof kPath));
  return sizeof kPath - 1;
}

void Show(OsStream stream, const char* text, size_t size) {
  std::string shown(text, size);
  if (stream == kOsStderr) {
    current->startup.push_back(std::move(shown));
    return;
  }
  const std::string stamp = std::string("[") + MemoryFiles::kStamp + "] ";
  Must(shown.size() > stamp.size() && shown.compare(0, stamp.size(), stamp) == 0 && shown.back() == '\n',
       "a log line has its time stamp and its line end");
  current->log.push_back(shown.substr(stamp.size(), shown.size() - stamp.size() - 1));
}

void PrepareProcess() {}

void InstallBreakHandler() {}

void SetBreakFile(const char*, const char*) {}

int CountOfStart(const std::vector<std::string>& lines, const std::string& start) {
  return static_cast<int>(std::count_if(lines.begin(), lines.end(), [&start](const std::string& line) {
    return line.compare(0, start.size(), start) == 0;
  }));
}

}  // namespace

MemoryFiles::MemoryFiles() : before_(OsInForce()) {
  current = this;
  open_files.clear();
  OsTable table = kOsNative;
  table.Allocate = Allocate;
  table.Close = Close;
  table.InstallBreakHandler = InstallBreakHandler;
  table.ListClose = ListClose;
  table.ListNext = ListNext;
  table.ListOpen = ListOpen;
  table.LocalTime = kOsNative.UtcTime;
  table.MakeDirectory = MakeDirectory;
  table.Now = Now;
  table.Uptime = Now;
  table.Open = Open;
  table.OpenDirectory = OpenDirectory;
  table.PrepareProcess = PrepareProcess;
  table.ProcessId = ProcessId;
  table.FindProcess = [](uint32_t) { return kOsMissing; };
  table.ProgramPath = ProgramPath;
  table.ReadAt = ReadAt;
  table.Reallocate = Reallocate;
  table.Remove = Remove;
  table.RemoveUnchanged = RemoveUnchanged;
  table.Rename = Rename;
  table.SameFile = SameFile;
  table.SetBreakFile = SetBreakFile;
  table.SetSize = SetSize;
  table.Show = Show;
  table.Size = Size;
  table.Sleep = Sleep;
  table.Stat = Stat;
  table.SyncDirectory = SyncDirectory;
  table.SyncFile = SyncFile;
  table.SyncFiles = SyncFiles;
  table.Touch = Touch;
  table.Write = Write;
  table.WriteAt = WriteAt;
  OsInForce() = table;
}

MemoryFiles::~MemoryFiles() {
  for (const OpenFile& file : open_files) Must(!file.open, "every file is closed in the end");
  OsInForce() = before_;
  current = nullptr;
}

std::string MemoryFiles::Content(const std::string& path) const {
  const auto found = files.find(path);
  return found != files.end() ? found->second : "";
}

int MemoryFiles::CountLogged(const std::string& start) const { return CountOfStart(log, start); }

int MemoryFiles::CountStartup(const std::string& start) const { return CountOfStart(startup, start); }
