#include "kit/mark_sent.h"

#include "bbs/records.h"
#include "kit/file_change.h"
#include "kit/kit_answer.h"
#include "kit/kit_format.h"
#include "kit/kit_output.h"
#include "kit/shown_facts.h"
#include "kit/site_files.h"

namespace {

// Returns the content of a conference's PTR file with the marks set.
struct MarkedHeaders {
  MarkedConference marked;
  std::string path;
  std::string content;
};

MarkedHeaders MarkHeaders(const KitSite& site, const ConferenceEntry& entry, const std::string& before) {
  MarkedHeaders headers;
  headers.marked.conference = entry.Number;
  BasePath path;
  if (FormatBasePath(site.Base(), entry.Number, "PTR", &path) != 0) throw NotAnswered("the path of MSGDIR is too long");
  headers.path = path.text;
  if (!LookAtFile(headers.path).exists) return headers;
  headers.content = ReadText(headers.path);
  for (size_t at = 0; headers.content.size() - at >= kPtrRecordSize; at += kPtrRecordSize) {
    char* const record = headers.content.data() + at;
    const PtrRecord header = UnpackPtrRecord(reinterpret_cast<const uint8_t*>(record));
    if (header.MsgSent || header.Deleted) continue;
    const std::string date = IsoDate(header.MsgDate);
    if (!IsIsoDate(date)) {
      ++headers.marked.undated;
    } else if (date < before) {
      record[ptr_layout::MsgSent.at] = 1;
      ++headers.marked.messages;
    }
  }
  return headers;
}

}  // namespace

std::vector<MarkedConference> CountOldUnsent(const KitSite& site, const std::vector<const ConferenceEntry*>& entries,
                                             const std::string& before) {
  std::vector<MarkedConference> marked;
  for (const ConferenceEntry* const entry : entries) {
    if (IsNetworked(*entry)) marked.push_back(MarkHeaders(site, *entry, before).marked);
  }
  return marked;
}

std::vector<MarkedConference> MarkOldSent(const KitSite& site, const std::vector<const ConferenceEntry*>& entries,
                                          const std::string& before, SiteChange* change) {
  std::vector<MarkedConference> marked;
  QuietSite quiet(site.config);
  const auto plan = [&](Backup* backup) {
    for (const ConferenceEntry* const entry : entries) {
      if (!IsNetworked(*entry)) continue;
      quiet.Keep();
      const MarkedHeaders headers = MarkHeaders(site, *entry, before);
      marked.push_back(headers.marked);
      if (headers.marked.messages == 0) continue;
      AddToBackup(site.config, headers.path, &headers.content, backup);
      backup->texts.push_back(fmt::format("{}: marked {} of before {} sent", ShownName(headers.path),
                                          Count(headers.marked.messages, "message"), before));
    }
  };
  (void)ChangeSite(site.config, &quiet, plan, change);
  return marked;
}
