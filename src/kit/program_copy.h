// The programs of a site, cvtoss32 and cvkit: those that are installed, and copies of them beside the configuration. A
// site needs the copies when the installed cvtoss32 cannot write its log, which it keeps beside itself.
#pragma once

#include <array>
#include <string>

#include "kit/attention.h"

struct SiteProgram {
  std::string installed;  // the first one of: beside cvkit, on the PATH, where the package puts it; empty for none
  std::string place;      // where the copy belongs
  bool copied = false;    // there is a copy, and it is not the installed program itself
  bool outdated = false;  // the copy is another version or another build than the installed program
};

struct SitePrograms {
  SiteProgram tosser;
  SiteProgram kit;

  std::array<const SiteProgram*, 2> Both() const { return {&tosser, &kit}; }
};

// Finds them. `tosser` is the path of the installed cvtoss32 if it is known, otherwise empty.
SitePrograms FindPrograms(const std::string& config_path, const std::string& tosser = {});

// Whether cvtoss32 can and should keep its log beside the program at that path: not where programs are installed for
// all users, even if this user may write there.
bool MayKeepLogBeside(const std::string& program);

// Returns a sentence about an outdated copy.
std::string TellOutdatedCopy(const SiteProgram& program);

// Reports the outdated copies beside the configuration.
void AddOutdatedCopies(const std::string& config_path, Attentions* found);

// Returns the path of cvtoss32 in a directory (in the form of DirectoryPart), with this system's suffix of programs.
std::string ProgramIn(const std::string& directory);

// Returns the directory of the running cvkit in the form of DirectoryPart; empty when it cannot be determined.
std::string OwnDirectory();
