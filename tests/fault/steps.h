// The calls of a run as the rules speak of them: which file of the site, in which hands, and whether it went well.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "unit/support/scoped_door.h"
#include "unit/support/site.h"

enum class Part {
  kRunLog,
  kDirectory,  // one of the configured ones
  kLock,
  kConferences,  // CVMCONF.DAT
  kNodes,        // CVWHOSON.DAT
  kPtr,
  kIdx,
  kDat,
  kSig,
  kBadAreas,
  kSerial,     // CVOUTBOUND.SEQ
  kPacket,     // CVOUTBOUND.PKT
  kBundle,     // in OUTDIR
  kTemporary,  // a bundle under its temporary name
  kInbound,    // a name in the inbound directory
  kProcessed,  // a name in the processed directory
  kProcessedDirectory,
  kBadDirectory,
  kBadCopy,
  kMemory,
  kElsewhere,
};

struct Step {
  Part part = Part::kElsewhere;
  int conference = 0;  // of PTR, IDX, DAT and SIG
  bool failed = false;
  const CallRecord* record = nullptr;

  Call TheCall() const { return record->call; }
  int64_t Answer() const { return record->answer; }
  // For a log line, with <site> for the site's path.
  std::string ShownPath(const Site& site) const;
};

// Tells the part of a path, and remembers it.
class SiteMap {
 public:
  explicit SiteMap(const Site& site) : site_(site) {}

  // The calls from the given one on, but those on the run log: a log that cannot be written is given up in silence.
  std::vector<Step> StepsFrom(size_t first, const ScopedDoor& door);

 private:
  struct Place {
    Part part = Part::kElsewhere;
    int conference = 0;
  };
  Place PlaceOf(const std::string& path) const;

  const Site& site_;
  std::map<std::string, Place> places_;
};
