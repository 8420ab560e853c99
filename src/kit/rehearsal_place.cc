#include "kit/rehearsal_place.h"

#include <cstdio>
#include <vector>

#include "kit/kit_answer.h"
#include "kit/kit_format.h"
#include "kit/kit_output.h"
#include "kit/site_files.h"
#include "platform/os_companion.h"

namespace {

constexpr char kCopyPrefix[] = "cvkit-rehearsal-";
constexpr char kKeptPrefix[] = "cvkit-kept-";
constexpr int kDeepestCopy = 16;  // levels of directories; far more than a copy of a site has

std::vector<std::string> NamesIn(const std::string& directory) {
  try {
    return ListNames(directory);
  } catch (const NotAnswered&) {
    return {};
  }
}

// Removes a directory with its contents; follows no link. Returns whether nothing is left.
bool RemoveTree(const std::string& path, int deep = 0) {
  const OsResult removed = OsRemoveDirectory(path.c_str());
  if (removed == kOsFailed) return OsRemove(path.c_str()) == kOsOk;
  if (removed != kOsExists || deep == kDeepestCopy) return removed != kOsExists;
  for (const std::string& name : NamesIn(path)) {
    if (name != "." && name != "..") (void)RemoveTree(path + "/" + name, deep + 1);
  }
  return OsRemoveDirectory(path.c_str()) == kOsOk;
}

// Process numbers are reused: one from before the last start of the machine belongs to no rehearsal, and neither does
// our own.
bool IsAbandoned(const std::string& name) {
  unsigned long process = 0;
  long long started = 0;
  int length = 0;
  constexpr int64_t kClockSet = 60;
  if (name.rfind(kCopyPrefix, 0) != 0 ||
      sscanf(name.c_str() + sizeof kCopyPrefix - 1, "%lu-%lld%n", &process, &started, &length) != 2 ||
      name.size() != sizeof kCopyPrefix - 1 + static_cast<size_t>(length) || process > UINT32_MAX) {
    return false;
  }
  return process == OsProcessId() || started + kClockSet < OsNow() - OsUptime() ||
         OsFindProcess(static_cast<uint32_t>(process)) == kOsMissing;
}

}  // namespace

std::string TemporaryDirectoryPath() {
  char path[kOsNameSize];
  OsStatus status;
  if (OsTemporaryDirectory(path) != 0 || OsStat((std::string(path) + "/.").c_str(), &status) != kOsOk) {
    throw NotAnswered("there is no directory for temporary files: set TMPDIR");
  }
  return path;
}

RehearsalPlace::RehearsalPlace() : mark_(fmt::format("{}-{}", OsProcessId(), OsNow())) {
  path_ = TemporaryDirectoryPath() + "/" + kCopyPrefix + mark_;
  if (OsMakePrivateDirectory(path_.c_str()) != kOsOk) throw NotAnswered(ShownName(path_) + " cannot be made");
}

RehearsalPlace::~RehearsalPlace() {
  if (!kept_ && !RemoveTree(path_)) Complain("cvkit: " + ShownName(path_) + " could not be removed\n");
}

std::string RehearsalPlace::Keep() {
  std::string kept = TemporaryDirectoryPath() + "/" + kKeptPrefix + mark_;
  if (OsReplace(path_.c_str(), kept.c_str()) != kOsOk) throw NotAnswered(ShownName(kept) + " cannot be made");
  kept_ = true;
  return kept;
}

void RemoveAbandonedRehearsals() {
  const std::string directory = TemporaryDirectoryPath();
  for (const std::string& name : NamesIn(directory)) {
    const std::string path = directory + "/" + name;
    if (IsAbandoned(name) && OsIsOwnDirectory(path.c_str())) (void)RemoveTree(path);
  }
}
