// The programs of a site: cvtoss32 as it was installed, beside cvkit, and the copy of it beside the configuration,
// which a site has where the installed one could not keep its log.
#pragma once

#include <string>

struct SitePrograms {
  std::string installed;  // empty: there is none beside cvkit
  std::string copy;       // empty: there is none, or it is the installed one itself
  bool outdated = false;  // the copy is another version than the installed program, or another build of it
};

SitePrograms FindPrograms(const std::string& config_path);

// The same of two paths.
SitePrograms ComparePrograms(const std::string& installed, const std::string& copy);

// One sentence about a copy that is outdated, with what to do; empty when there is nothing to say.
std::string TellOutdatedCopy(const SitePrograms& programs);

// The directory of a path with its separator at the end; empty for the current one.
std::string DirectoryPart(const std::string& path);

// The path of cvtoss32 in a directory (as DirectoryPart returns it), named as this system's programs are.
std::string ProgramIn(const std::string& directory);

// The directory of the running cvkit, as DirectoryPart; empty when it cannot be told.
std::string OwnDirectory();
