// Files that cvkit writes where it is told to: never into the site, and never over another file unasked.
#pragma once

#include <string>
#include <string_view>

#include "kit/kit_site.h"

// Throws NotAnswered when what stands at `path`, or is to stand there, is within a directory of the site, or when there
// is no such directory.
void RequireOutside(const KitSite& site, const std::string& path);

// Writes a new file at `path`; with `force` one that stands there goes first. Throws NotAnswered, with no file left
// that is not whole, when it is within a directory of the site, stands there already, or cannot be written.
void WriteOutputFile(const KitSite& site, const std::string& path, std::string_view content, bool force);

// A name that is safe in any directory of any system, made from one that came with mail or in an archive: its last
// part, without separators, control bytes, device names and what else a system reads in a name.
std::string SafeName(std::string_view name);
