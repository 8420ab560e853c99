#include "kit/kit_site.h"

#include <fmt/format.h>

#include "kit/kit_answer.h"
#include "kit/kit_output.h"
#include "kit/log_tail.h"

namespace {

std::string WhatIsWrong(const ConferenceTable& table, NetmailKind netmail) {
  for (size_t i = 0; i < table.count; ++i) {
    const ConferenceEntry& entry = table.entries[i];
    if (!entry.Routed) continue;
    if (!HasUsableTag(entry)) return fmt::format("conference {} has no usable area tag", entry.Number);
    for (size_t j = 0; j < i; ++j) {
      if (!ClaimSameTag(table.entries[j], entry)) continue;
      return fmt::format("conferences {} and {} have the same area tag", table.entries[j].Number, entry.Number);
    }
  }
  return netmail == kNetmailTwoPrivate || netmail == kNetmailTwoPublic ? "several conferences could take netmail" : "";
}

}  // namespace

const ConferenceEntry* KitSite::Find(int64_t conference) const {
  return conference >= 1 && conference <= static_cast<int64_t>(conferences.count) ? &conferences.entries[conference - 1]
                                                                                  : nullptr;
}

KitSite LoadKitSite(const std::string& config_path) {
  KitSite site;
  if (LoadConfig(config_path.c_str(), &site.config) != 0) {
    throw NotAnswered("the configuration " + ShownName(config_path) + " cannot be used");
  }
  if (site.config.HaveConfDir == 0 || site.config.HaveMsgDir == 0) {
    throw NotAnswered("the configuration " + ShownName(config_path) + " names no CONFDIR or no MSGDIR");
  }
  site.config_path = config_path;
  site.log_path = LogBeside(config_path);
  const TableReading reading = ReadConferenceTable(site.config.ConfDir, &site.conferences);
  if (reading.fault != kTableRead) {
    throw NotAnswered("the conference table " + ShownName(reading.path.text) + " cannot be read");
  }
  const NetmailChoice netmail = ChooseNetmailConference(site.conferences);
  site.conferences.NetmailConference = netmail.conference;
  site.table_trouble = WhatIsWrong(site.conferences, netmail.kind);
  return site;
}

std::string FileTimes(const KitSite& site, int32_t conference) {
  std::string times;
  for (const char* kind : {"PTR", "IDX", "DAT", "SIG"}) {
    BasePath path;
    OsStatus status;
    const bool there = FormatBasePath(site.Base(), conference, kind, &path) == 0 && OsStat(path, &status) == kOsOk;
    times += there ? fmt::format("{} {},", status.size, status.modified) : "-,";
  }
  return times;
}
