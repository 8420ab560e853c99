// The programs of a site: the installed cvtoss32 beside cvkit, and a copy of it beside the configuration. A site needs
// the copy if the installed program could not write its log.
#pragma once

#include <string>

#include "kit/attention.h"

struct SitePrograms {
  std::string installed;  // empty: there is none beside cvkit
  std::string copy;       // empty: there is none, or it is the installed program itself
  bool outdated = false;  // the copy is another version or another build than the installed program
};

SitePrograms FindPrograms(const std::string& config_path);

// The same for two given paths.
SitePrograms ComparePrograms(const std::string& installed, const std::string& copy);

// Returns a sentence about an outdated copy.
std::string TellOutdatedCopy(const SitePrograms& programs);

// Reports a copy beside the configuration that is outdated.
void AddOutdatedCopy(const std::string& config_path, Attentions* found);

// Returns the directory of a path, with its separator at the end; empty for the current directory.
std::string DirectoryPart(const std::string& path);

// Returns the path of cvtoss32 in a directory (in the form of DirectoryPart), with this system's suffix of programs.
std::string ProgramIn(const std::string& directory);

// Returns the directory of the running cvkit in the form of DirectoryPart; empty when it cannot be determined.
std::string OwnDirectory();
