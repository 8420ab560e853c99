// What must hold after any run, whatever failed in it.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "unit/support/captured_log.h"
#include "unit/support/fake_process.h"
#include "unit/support/scoped_door.h"
#include "unit/support/site.h"

using SiteFiles = std::map<std::string, std::string>;

// The lines of the log, with <site> for the site's path.
std::vector<std::string> LinesOf(const CapturedLog& log, const Site& site);

// Whether some line begins with `start`.
bool HasLine(const std::vector<std::string>& lines, const std::string& start);

// Whether the log says that the rollback of that conference failed, so that the operator has to repair its files.
bool IsCritical(const std::vector<std::string>& lines, int conference);

// No file or list is open; the lock is gone, and forgotten by the break handler, unless a line says why not.
void ExpectCleanEnd(const Site& site, const ScopedDoor& door, const FakeProcess& process,
                    const std::vector<std::string>& lines);

// The file still begins with its old bytes.
void ExpectNotDamaged(const std::string& path, const std::string& old, const SiteFiles& after);

// Files that the run must not change are as they were, and there are no others. `own` are the paths of the files that
// it may change, create or remove.
void ExpectOthersUntouched(const SiteFiles& before, const SiteFiles& after, const std::set<std::string>& own);
