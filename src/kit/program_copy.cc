#include "kit/program_copy.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "base/ascii.h"
#include "kit/kit_output.h"
#include "kit/site_files.h"
#include "platform/os.h"
#include "platform/os_companion.h"

namespace {

constexpr size_t kProgramPathSize = 4096;

std::string OwnPath() {
  char path[kProgramPathSize];
  const size_t length = OsProgramPath(path, sizeof path);
  return length > 0 && length < sizeof path ? std::string(path, length) : std::string();
}

// Whether programs are those of Windows: their names have a suffix, and the PATH another separator.
bool IsForWindows() {
  const std::string own = OwnPath();
  const size_t dot = own.find_last_of("./\\");
  return dot != std::string::npos && SameWord(own.c_str() + dot, ".exe");
}

std::string FileName(const char* program) { return std::string(program) + (IsForWindows() ? ".exe" : ""); }

// Returns the directories in which programs are installed for everybody, each in the form of DirectoryPart.
std::vector<std::string> ProgramDirectories() {
  std::vector<std::string> directories;
  const char* const variable = std::getenv("PATH");
  const std::string path = variable == nullptr ? "" : variable;
  const char separator = IsForWindows() ? ';' : ':';
  for (size_t at = 0; at < path.size();) {
    const size_t end = std::min(path.find(separator, at), path.size());
    if (end != at) directories.push_back(path.substr(at, end - at) + "/");
    at = end + 1;
  }
  directories.push_back(std::string(CVTOSS_INSTALLED_IN) + "/");
  return directories;
}

bool IsSame(const std::string& left, const std::string& right) {
  return OsSameFile(left.c_str(), right.c_str()) == kOsSame;
}

bool HaveSameContent(const std::string& left, const std::string& right) {
  ByteBuffer one;
  ByteBuffer other;
  return LookAtFile(left).status.size == LookAtFile(right).status.size && ReadSiteFile(left, &one) &&
         ReadSiteFile(right, &other) && one.size == other.size && memcmp(one.data, other.data, one.size) == 0;
}

// Returns the installed program of that name, but never the copy itself: a cvkit may be called that is a copy.
std::string FindInstalled(const std::string& name, const std::string& copy) {
  std::vector<std::string> directories = ProgramDirectories();
  directories.insert(directories.begin(), OwnDirectory());
  for (const std::string& directory : directories) {
    if (LookAtFile(directory + name).exists && !IsSame(directory + name, copy)) return directory + name;
  }
  return {};
}

SiteProgram Compare(const std::string& installed, const std::string& place) {
  SiteProgram program;
  program.place = place;
  if (LookAtFile(installed).exists) program.installed = installed;
  program.copied = LookAtFile(place).exists && !IsSame(installed, place);
  program.outdated = program.copied && !program.installed.empty() && !HaveSameContent(installed, place);
  return program;
}

}  // namespace

SitePrograms FindPrograms(const std::string& config_path, const std::string& tosser) {
  const std::string site = DirectoryPart(config_path);
  const auto find = [&site](const std::string& name, const std::string& known) {
    return Compare(known.empty() ? FindInstalled(name, site + name) : known, site + name);
  };
  return {find(FileName("cvtoss32"), tosser), find(FileName("cvkit"), "")};
}

bool MayKeepLogBeside(const std::string& program) {
  const std::string directory = DirectoryPart(program).empty() ? "./" : DirectoryPart(program);
  for (const std::string& other : ProgramDirectories()) {
    if (IsSame(directory + ".", other + ".")) return false;
  }
  return OsMayMakeFiles(directory.c_str());
}

std::string TellOutdatedCopy(const SiteProgram& program) {
  return ShownName(program.place) + " is not the program that is installed, " + ShownName(program.installed);
}

void AddOutdatedCopies(const std::string& config_path, Attentions* found) {
  const SitePrograms programs = FindPrograms(config_path);
  for (const SiteProgram* program : programs.Both()) {
    if (program->outdated) AddAttention("copy-outdated", TellOutdatedCopy(*program), found);
  }
}

std::string ProgramIn(const std::string& directory) { return directory + FileName("cvtoss32"); }

std::string OwnDirectory() { return DirectoryPart(OwnPath()); }
