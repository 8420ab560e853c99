#include "fault/steps.h"

namespace {

bool HasFailed(const CallRecord& record) {
  switch (record.call) {
    case Call::kOpen:
      return record.answer == kOsFailed || (record.answer == kOsMissing &&
                                            (record.mode == kOsCreate || record.mode == kOsCreateNew));  // no directory
    case Call::kSameFile: return record.answer == kOsNotTold;
    case Call::kOpenDirectory:
    case Call::kRename: return record.answer != kOsOk;  // what stands in the way is a failure as well
    case Call::kReadAt:  // of one byte half is none; else no bytes are the end of the file
      return record.answer < 0 || (record.struck && record.size < 2 && record.answer == 0);
    case Call::kWriteAt:
    case Call::kWrite: return record.answer <= 0;
    case Call::kSize:
    case Call::kSetSize:
    case Call::kSyncFile:
    case Call::kSyncFiles:
    case Call::kSyncDirectory:
    case Call::kClose:
    case Call::kTouch:
    case Call::kAllocate:
    case Call::kReallocate: return record.answer < 0;
    default: return record.answer == kOsFailed;
  }
}

}  // namespace

std::string Step::ShownPath(const Site& site) const {
  const std::string& path = record->path;
  return path.starts_with(site.Root()) ? "<site>" + path.substr(site.Root().size()) : path;
}

std::vector<Step> SiteMap::StepsFrom(size_t first, const ScopedDoor& door) {
  const std::vector<CallRecord>& calls = door.Calls();
  std::vector<Step> steps;
  steps.reserve(calls.size() - first);
  for (size_t i = first; i < calls.size(); ++i) {
    const CallRecord& record = calls[i];
    auto known = places_.find(record.path);
    if (known == places_.end()) known = places_.emplace(record.path, PlaceOf(record.path)).first;
    if (known->second.part == Part::kRunLog) continue;
    steps.push_back({known->second.part, known->second.conference, HasFailed(record), &record});
  }
  return steps;
}

SiteMap::Place SiteMap::PlaceOf(const std::string& path) const {
  if (path.empty()) return {Part::kMemory};
  if (path == site_.Root() + "/TOSSER.LOG") return {Part::kRunLog};
  if (path == site_.LockFile()) return {Part::kLock};
  if (path == site_.Conf("CVMCONF.DAT")) return {Part::kConferences};
  if (path == site_.NodeFile()) return {Part::kNodes};
  if (path == site_.Msg("BADAREAS.LST")) return {Part::kBadAreas};
  if (path == site_.Msg("CVOUTBOUND.SEQ")) return {Part::kSerial};
  if (path == site_.Msg("CVOUTBOUND.PKT")) return {Part::kPacket};
  if (path == site_.In("badmsgs")) return {Part::kBadDirectory};
  if (path == site_.Done() || path == site_.In("processed")) return {Part::kProcessedDirectory};
  for (const std::string& directory : {site_.In(), site_.Out(), site_.Msg(), site_.Conf(), site_.Conf("WORK")}) {
    if (path == directory) return {Part::kDirectory};
  }
  const std::string base = site_.Msg("CVMSG");
  if (path.starts_with(base)) {
    const int conference = std::stoi(path.substr(base.size()));
    if (path.ends_with(".PTR")) return {Part::kPtr, conference};
    if (path.ends_with(".IDX")) return {Part::kIdx, conference};
    if (path.ends_with(".DAT")) return {Part::kDat, conference};
    if (path.ends_with(".SIG")) return {Part::kSig, conference};
  }
  if (path.starts_with(site_.Out() + "/")) return {path.ends_with(".tmp") ? Part::kTemporary : Part::kBundle};
  if (path.starts_with(site_.In("badmsgs/"))) return {Part::kBadCopy};
  if (path.starts_with(site_.Done() + "/") || path.starts_with(site_.In("processed/"))) return {Part::kProcessed};
  if (path.starts_with(site_.In() + "/")) return {Part::kInbound};
  return {};
}
