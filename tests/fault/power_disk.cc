#include "fault/power_disk.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace {

struct OpenFile {
  int file = kNoDiskFile;
  bool append = false;
  bool counts = true;  // false: the run log, of which nothing is promised
  size_t at = 0;
};

struct OpenList {
  std::vector<std::string> names;
  size_t next = 0;
};

PowerDisk* current = nullptr;
std::vector<OpenFile> open_files;

std::string DirectoryOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? "" : path.substr(0, slash);
}

bool IsRunLog(const std::string& path) { return path == "TOSSER.LOG"; }

OpenFile& At(intptr_t handle) { return open_files.at(static_cast<size_t>(handle)); }

const DiskFile& FileAt(intptr_t handle) { return current->Now().files.at(static_cast<size_t>(At(handle).file)); }

int Lookup(const std::string& path) {
  const auto found = current->Now().names.find(path);
  return found != current->Now().names.end() ? found->second : kNoDiskFile;
}

void ChangeNames(DiskState* state, DiskNames change) {
  Apply(change, &state->names);
  state->changes.push_back(std::move(change));
}

void ChangeFile(intptr_t handle, DiskWrite write) {
  const OpenFile& open = At(handle);
  if (!open.counts) return;
  DiskFile& file = current->Change().files.at(static_cast<size_t>(open.file));
  Apply(write, &file.now);
  file.writes.push_back(std::move(write));
  file.modified = OsInForce().Now();
}

OsResult Open(const OsPlace& place, OsOpenMode mode, intptr_t* handle, int*) {
  const std::string path = current->PathOf(place.path);
  int file = Lookup(path);
  const bool creates_new = mode == kOsCreateNew || mode == kOsCreateLock;
  if (file == kDiskDirectory) return kOsFailed;
  if (file != kNoDiskFile && creates_new) return kOsExists;
  if (file == kNoDiskFile && (mode == kOsRead || mode == kOsReadShared || mode == kOsUpdate)) return kOsMissing;
  const std::string directory = DirectoryOf(path);
  if (!directory.empty() && Lookup(directory) != kDiskDirectory) return kOsMissing;
  const bool counts = !IsRunLog(path);
  if (file == kNoDiskFile && counts) {
    DiskState& state = current->Change();
    file = static_cast<int>(state.files.size());
    state.files.push_back({"", {}, "", OsInForce().Now()});
    ChangeNames(&state, {directory, {{path, file}}});
  }
  open_files.push_back({file, mode == kOsAppend || mode == kOsAppendText, counts});
  *handle = static_cast<intptr_t>(open_files.size() - 1);
  if (mode == kOsCreate && counts && !FileAt(*handle).now.empty()) ChangeFile(*handle, {0, ""});
  return kOsOk;
}

OsResult Identify(intptr_t handle, OsIdentity* identity) {
  identity->file = static_cast<uint64_t>(At(handle).file);
  return kOsOk;
}

int64_t Size(intptr_t handle) { return static_cast<int64_t>(FileAt(handle).now.size()); }

int64_t ReadAt(intptr_t handle, int64_t at, void* to, size_t size) {
  const std::string& bytes = FileAt(handle).now;
  if (static_cast<size_t>(at) >= bytes.size()) return 0;
  const size_t moved = std::min(size, bytes.size() - static_cast<size_t>(at));
  memcpy(to, bytes.data() + at, moved);
  return static_cast<int64_t>(moved);
}

int64_t WriteAt(intptr_t handle, int64_t at, const void* from, size_t size) {
  ChangeFile(handle, {static_cast<size_t>(at), std::string(static_cast<const char*>(from), size)});
  return static_cast<int64_t>(size);
}

int64_t Write(intptr_t handle, const void* from, size_t size) {
  OpenFile& open = At(handle);
  if (size == 0 || !open.counts) return static_cast<int64_t>(size);
  if (open.append) open.at = FileAt(handle).now.size();
  (void)WriteAt(handle, static_cast<int64_t>(open.at), from, size);
  open.at += size;
  return static_cast<int64_t>(size);
}

int SetSize(intptr_t handle, int64_t size) {
  ChangeFile(handle, {static_cast<size_t>(size), ""});
  return 0;
}

int Close(intptr_t) { return 0; }

int Touch(intptr_t) { return 0; }

void SyncContent(int file, DiskState* state) {
  DiskFile& synced = state->files.at(static_cast<size_t>(file));
  synced.synced = synced.now;
  synced.writes.clear();
}

void SyncNames(const std::string& directory, DiskState* state) {
  std::vector<DiskNames> left;
  for (DiskNames& change : state->changes) {
    if (change.directory == directory) {
      Apply(change, &state->synced_names);
    } else {
      left.push_back(std::move(change));
    }
  }
  state->changes = std::move(left);
}

int SyncFile(intptr_t handle) {
  SyncContent(At(handle).file, &current->Change());
  return 0;
}

// The power may fail between the files and those that come last, and before the names.
int SyncFiles(const OsPlace& place, const OsSyncItem* items, size_t count) {
  const std::string directory = current->PathOf(place.path);
  for (const bool last : {false, true}) {
    DiskState& state = current->Change();
    for (size_t i = 0; i < count; ++i) {
      const int file = Lookup(directory + "/" + items[i].name);
      if (items[i].last == last && file >= 0) SyncContent(file, &state);
    }
  }
  SyncNames(directory, &current->Change());
  return 0;
}

int SyncDirectory(const OsPlace& place) {
  SyncNames(current->PathOf(place.path), &current->Change());
  return 0;
}

OsResult Stat(const OsPlace& place, OsStatus* status) {
  const int file = Lookup(current->PathOf(place.path));
  if (file == kNoDiskFile) return kOsMissing;
  status->kind = file == kDiskDirectory ? kOsDirectory : kOsRegularFile;
  if (file == kDiskDirectory) return kOsOk;
  const DiskFile& found = current->Now().files.at(static_cast<size_t>(file));
  status->size = static_cast<int64_t>(found.now.size());
  status->modified = found.modified;
  return kOsOk;
}

OsSameness SameFile(const OsPlace& source, const OsPlace& other) {
  return current->PathOf(source.path) == current->PathOf(other.path) ? kOsSame : kOsDifferent;
}

OsResult Remove(const OsPlace& place, const OsIdentity*) {
  const std::string path = current->PathOf(place.path);
  if (Lookup(path) < 0) return kOsMissing;
  ChangeNames(&current->Change(), {DirectoryOf(path), {{path, kNoDiskFile}}});
  return kOsOk;
}

OsResult RemoveUnchanged(const char* path, int64_t) { return Remove(path, nullptr); }

// Within one directory a name changes in one piece; between two, the new name and the loss of the old one are two.
OsResult Rename(const OsPlace& from, const OsPlace& to, const OsIdentity*) {
  const std::string source = current->PathOf(from.path);
  const std::string target = current->PathOf(to.path);
  const int file = Lookup(source);
  if (file < 0 || Lookup(DirectoryOf(target)) != kDiskDirectory) return kOsFailed;
  if (Lookup(target) != kNoDiskFile) return kOsExists;
  DiskState& state = current->Change();
  if (DirectoryOf(source) == DirectoryOf(target)) {
    ChangeNames(&state, {DirectoryOf(source), {{target, file}, {source, kNoDiskFile}}});
  } else {
    ChangeNames(&state, {DirectoryOf(target), {{target, file}}});
    ChangeNames(&state, {DirectoryOf(source), {{source, kNoDiskFile}}});
  }
  return kOsOk;
}

// The platform layer syncs the names of directories that it makes.
OsResult MakeDirectory(const char* whole) {
  const std::string path = current->PathOf(whole);
  if (Lookup(path) != kNoDiskFile) return kOsExists;
  ChangeNames(&current->Change(), {DirectoryOf(path), {{path, kDiskDirectory}}});
  SyncNames(DirectoryOf(path), &current->Change());
  return kOsOk;
}

OsResult OpenDirectory(const char* path, OsTrust, intptr_t*) {
  return Lookup(current->PathOf(path)) == kDiskDirectory ? kOsOk : kOsMissing;
}

OsResult ListOpen(const char* whole, void** list) {
  const std::string directory = current->PathOf(whole);
  auto* const made = new OpenList;
  for (const auto& [path, file] : current->Now().names) {
    if (DirectoryOf(path) == directory) made->names.push_back(path.substr(directory.size() + 1));
  }
  *list = made;
  return kOsOk;
}

OsResult ListNext(void* handle, char* name, size_t size) {
  auto* const list = static_cast<OpenList*>(handle);
  if (list->next == list->names.size()) return kOsMissing;
  const std::string& found = list->names[list->next++];
  if (found.size() >= size) return kOsFailed;
  memcpy(name, found.c_str(), found.size() + 1);
  return kOsOk;
}

void ListClose(void* handle) { delete static_cast<OpenList*>(handle); }

}  // namespace

void Apply(const DiskWrite& write, std::string* bytes) {
  bytes->resize(write.bytes.empty() ? write.at : std::max(bytes->size(), write.at + write.bytes.size()));
  bytes->replace(write.at, write.bytes.size(), write.bytes);
}

void Apply(const DiskNames& change, std::map<std::string, int>* names) {
  for (const auto& [name, file] : change.names) {
    if (file == kNoDiskFile) {
      names->erase(name);
    } else {
      (*names)[name] = file;
    }
  }
}

DiskState::DiskState(const SiteFiles& laid) {
  for (const char* name : {"in", "conf", "conf/WORK", "msg", "out", "done"}) synced_names[name] = kDiskDirectory;
  for (const auto& [path, bytes] : laid) {
    synced_names[path] = static_cast<int>(files.size());
    for (std::string up = DirectoryOf(path); !up.empty(); up = DirectoryOf(up)) synced_names[up] = kDiskDirectory;
    files.push_back({bytes, {}, bytes, 0});
  }
  names = synced_names;
}

SiteFiles DiskState::Seen() const {
  SiteFiles seen;
  for (const auto& [path, file] : names) {
    if (file >= 0) seen[path] = files.at(static_cast<size_t>(file)).now;
  }
  return seen;
}

void DiskState::Remove(const std::string& path) {
  if (names.count(path) != 0) ChangeNames(this, {DirectoryOf(path), {{path, kNoDiskFile}}});
}

PowerDisk::PowerDisk(DiskState start, const std::string& root, std::vector<DiskState>* moments)
    : before_(OsInForce()), root_(root + "/"), now_(std::move(start)), moments_(moments) {
  if (current != nullptr) abort();  // the calls go to one disk
  current = this;
  open_files.clear();
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
}

PowerDisk::~PowerDisk() {
  OsInForce() = before_;
  current = nullptr;
}

DiskState& PowerDisk::Change() {
  if (moments_ != nullptr) moments_->push_back(now_);
  return now_;
}

std::string PowerDisk::PathOf(const char* path) const {
  std::string slashed = path;
  std::replace(slashed.begin(), slashed.end(), '\\', '/');
  EXPECT_EQ(slashed.compare(0, root_.size(), root_), 0) << path << " is not of the site";
  return slashed.substr(std::min(slashed.size(), root_.size()));
}
