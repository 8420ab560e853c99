#include "kit/output_file.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "base/ascii.h"
#include "kit/kit_answer.h"
#include "kit/kit_output.h"
#include "kit/site_files.h"
#include "platform/os.h"

namespace {

constexpr int kDeepest = 64;  // levels of directories that are examined

bool IsSameDirectory(const std::string& left, const std::string& right) {
  return OsSameFile((left + "/.").c_str(), (right + "/.").c_str()) == kOsSame;
}

// Whether the directory is one of the site's or within one. Its parents are found by "..", so that links do not matter.
bool IsWithinSite(const KitSite& site, std::string directory) {
  const TosserConfig& config = site.config;
  for (int depth = 0; depth < kDeepest; ++depth) {
    for (const char* own :
         {config.Inbound, config.ConfDir, config.WorkDir, config.MsgDir, config.OutDir, config.ProcessedDir}) {
      if (*own != '\0' && IsSameDirectory(own, directory)) return true;
    }
    const std::string above = directory + "/..";
    if (IsSameDirectory(directory, above)) return false;  // the root
    directory = above;
  }
  return true;
}

bool IsDeviceName(const std::string& name) {
  const std::string stem = name.substr(0, name.find('.'));
  for (const char* device : {"CON", "PRN", "AUX", "NUL", "CLOCK$", "CONIN$", "CONOUT$"}) {
    if (SameWord(stem.c_str(), device)) return true;
  }
  return stem.size() == 4 && stem[3] >= '0' && stem[3] <= '9' &&
         (BeginsWithWord(stem.data(), 3, "COM") || BeginsWithWord(stem.data(), 3, "LPT"));
}

}  // namespace

void RequireOutside(const KitSite& site, const std::string& path) {
  const std::string directory = DirectoryPart(path) + ".";
  OsStatus status;
  if (OsStat((directory + "/.").c_str(), &status) != kOsOk || status.kind != kOsDirectory) {
    throw NotAnswered(ShownName(path) + ": there is no such directory");
  }
  if (IsWithinSite(site, directory)) {
    throw NotAnswered(ShownName(path) + " is within the site: choose another directory");
  }
}

OutputFile::OutputFile(const KitSite& site, const std::string& path, bool force) : path_(path) {
  RequireOutside(site, path);
  if (force) (void)OsRemove(path.c_str());  // of a link, only the link is removed
  const OsResult opened = OsOpen(path.c_str(), kOsCreateNew, &file_);
  if (opened == kOsExists) throw NotAnswered(ShownName(path) + " is there already (--force replaces it)");
  if (opened != kOsOk) throw NotAnswered(ShownName(path) + " cannot be created");
}

OutputFile::~OutputFile() {
  if (finished_) return;
  (void)OsClose(&file_);
  (void)OsRemove(path_.c_str());
}

void OutputFile::Write(std::string_view content) {
  if (OsWrite(file_, content.data(), content.size()) != 0) throw NotAnswered(ShownName(path_) + " cannot be written");
}

void OutputFile::Finish() {
  if (OsClose(&file_) != 0) throw NotAnswered(ShownName(path_) + " cannot be written");
  finished_ = true;
}

void WriteOutputFile(const KitSite& site, const std::string& path, std::string_view content, bool force) {
  OutputFile file(site, path, force);
  file.Write(content);
  file.Finish();
}

std::string SafeName(std::string_view name) {
  std::string safe = NamePart(std::string(name));
  std::replace_if(
      safe.begin(), safe.end(),
      [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte <= ' ' || byte >= 0x7F || strchr(":*?\"<>|$~", c) != nullptr;
      },
      '_');
  while (!safe.empty() && safe.back() == '.') safe.pop_back();
  if (safe.empty() || safe[0] == '.' || safe[0] == '-' || IsDeviceName(safe)) safe.insert(0, "_");
  return safe.substr(0, 100);
}
