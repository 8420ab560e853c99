#include "kit/program_copy.h"

#include <cstring>

#include "base/ascii.h"
#include "kit/kit_output.h"
#include "kit/site_files.h"
#include "platform/os.h"

namespace {

constexpr size_t kProgramPathSize = 4096;

std::string OwnPath() {
  char path[kProgramPathSize];
  const size_t length = OsProgramPath(path, sizeof path);
  return length > 0 && length < sizeof path ? std::string(path, length) : std::string();
}

bool HaveSameContent(const std::string& left, const std::string& right) {
  ByteBuffer one;
  ByteBuffer other;
  return LookAtFile(left).status.size == LookAtFile(right).status.size && ReadSiteFile(left, &one) &&
         ReadSiteFile(right, &other) && one.size == other.size && memcmp(one.data, other.data, one.size) == 0;
}

}  // namespace

SitePrograms ComparePrograms(const std::string& installed, const std::string& copy) {
  SitePrograms programs;
  if (LookAtFile(installed).exists) programs.installed = installed;
  if (!LookAtFile(copy).exists || OsSameFile(installed.c_str(), copy.c_str()) == kOsSame) return programs;
  programs.copy = copy;
  programs.outdated = !programs.installed.empty() && !HaveSameContent(installed, copy);
  return programs;
}

SitePrograms FindPrograms(const std::string& config_path) {
  return ComparePrograms(ProgramIn(OwnDirectory()), ProgramIn(DirectoryPart(config_path)));
}

std::string TellOutdatedCopy(const SitePrograms& programs) {
  return ShownName(programs.copy) + " is not the program that is installed, " + ShownName(programs.installed);
}

void AddOutdatedCopy(const std::string& config_path, Attentions* found) {
  const SitePrograms programs = FindPrograms(config_path);
  if (programs.outdated) AddAttention("copy-outdated", TellOutdatedCopy(programs), found);
}

std::string DirectoryPart(const std::string& path) { return path.substr(0, path.find_last_of("/\\") + 1); }

std::string ProgramIn(const std::string& directory) {
  const std::string own = OwnPath();
  const size_t dot = own.find_last_of("./\\");
  const bool windows = dot != std::string::npos && SameWord(own.c_str() + dot, ".exe");
  return directory + (windows ? "cvtoss32.exe" : "cvtoss32");
}

std::string OwnDirectory() { return DirectoryPart(OwnPath()); }
