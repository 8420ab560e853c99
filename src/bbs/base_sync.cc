#include "bbs/base_sync.h"

#include <cstdio>
#include <initializer_list>

namespace {

constexpr size_t kMostKinds = 4;  // of files of one conference
constexpr size_t kMostFiles = kMostConferences * kMostKinds;

// The last kind is synced last.
int SyncKinds(const MessageBase& base, const ConferenceSet& conferences, std::initializer_list<const char*> kinds) {
  char names[kMostFiles][16];
  OsSyncItem items[kMostFiles];
  size_t count = 0;
  for (size_t c = 1; c <= kMostConferences; ++c) {
    if (!conferences.has[c]) continue;
    for (const char* const& kind : kinds) {
      (void)snprintf(names[count], sizeof names[count], "CVMSG%02d.%s", static_cast<int>(c), kind);
      items[count] = {names[count], &kind + 1 == kinds.end()};
      ++count;
    }
  }
  return count == 0 ? 0 : OsSyncFiles({base.path, base.directory}, items, count);
}

}  // namespace

int SyncMessages(const MessageBase& base, const ConferenceSet& conferences) {
  return SyncKinds(base, conferences, {"DAT", "IDX", "PTR", "SIG"});
}

int SyncMarks(const MessageBase& base, const ConferenceSet& conferences) {
  return SyncKinds(base, conferences, {"SIG", "PTR"});
}
