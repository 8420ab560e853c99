// What must hold after any run, whatever failed in it.
#pragma once

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

// Whether some line says that the run, or a message of it, failed: what the exit status has to agree with.
bool HasSevereLine(const std::vector<std::string>& lines);

// Whether the log says that the rollback of that conference failed, so that its files need a person.
bool IsCritical(const std::vector<std::string>& lines, int conference);

// No file or list is open; the lock is gone, and forgotten by the break handler, unless a line says why not; the exit
// status is 1 exactly when a severe line was logged.
void ExpectCleanEnd(const Site& site, const ScopedDoor& door, const FakeProcess& process,
                    const std::vector<std::string>& lines, int status);

// Every file that was there before begins with its old bytes still, whatever was added.
void ExpectNothingDamaged(const SiteFiles& before, const SiteFiles& after);

// No file is there that neither was there before nor is one that a faultless run leaves behind; a lock has its own
// promise, and a rollback that failed has said so.
void ExpectNothingLeftBehind(const SiteFiles& before, const SiteFiles& faultless, const SiteFiles& after,
                             const std::vector<std::string>& lines);
