#include "kit/site_files.h"

#include <algorithm>

#include "base/whole_file.h"
#include "kit/kit_answer.h"
#include "kit/kit_output.h"

std::string DirectoryPart(const std::string& path) { return path.substr(0, path.find_last_of("/\\") + 1); }

std::string NamePart(const std::string& path) { return path.substr(path.find_last_of("/\\") + 1); }

std::string DirectoryOf(const std::string& path) {
  const std::string part = DirectoryPart(path);
  if (part.empty()) return ".";
  const bool is_root = part.size() == 1 || part[part.size() - 2] == ':';
  return is_root ? part : part.substr(0, part.size() - 1);
}

std::vector<std::string> ListNames(const std::string& directory) {
  std::vector<std::string> names;
  OsStatus status;
  if (OsStat(directory.c_str(), &status) == kOsMissing) return names;
  OsList list;
  if (OsListOpen(directory.c_str(), &list) != kOsOk) throw NotAnswered("could not read " + ShownName(directory));
  char name[kOsNameSize];
  for (;;) {
    const OsResult listed = OsListNext(&list, name);
    if (listed == kOsMissing) break;
    if (listed == kOsUnaddressable) continue;
    if (listed != kOsOk) throw NotAnswered("could not read " + ShownName(directory));
    names.emplace_back(name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

FoundFile LookAtFile(const std::string& path) {
  FoundFile found;
  found.exists = OsStat(path.c_str(), &found.status) == kOsOk && found.status.kind == kOsRegularFile;
  return found;
}

bool ReadSiteFile(const std::string& path, ByteBuffer* content) {
  return LookAtFile(path).exists && ReadWholeFile(path.c_str(), content, kLargestSiteFile) == 0;
}
