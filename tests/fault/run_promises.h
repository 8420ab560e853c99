// What must hold after any run, whatever failed in it.
#pragma once

#include <functional>
#include <map>
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

// Whether the log says that the rollback of that conference failed, so that its files need a person.
bool IsCritical(const std::vector<std::string>& lines, int conference);

// No file or list is open; the lock is gone, and forgotten by the break handler, unless a line says why not.
void ExpectCleanEnd(const Site& site, const ScopedDoor& door, const FakeProcess& process,
                    const std::vector<std::string>& lines);

// Every file that was there before begins with its old bytes still, whatever was added.
void ExpectNothingDamaged(const SiteFiles& before, const SiteFiles& after);

// Files that the run has no business with are as they were, and no others are there. The run's own are those that
// `is_own` names by their path.
void ExpectOthersUntouched(const SiteFiles& before, const SiteFiles& after,
                           const std::function<bool(const std::string& path)>& is_own);
