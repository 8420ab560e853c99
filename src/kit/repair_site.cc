#include "kit/repair_site.h"

#include "kit/base_model.h"
#include "kit/kit_format.h"
#include "kit/kit_output.h"
#include "kit/leftovers.h"
#include "kit/progress.h"
#include "kit/repair_base.h"
#include "kit/serial_judge.h"
#include "platform/os.h"

namespace {

constexpr int kRounds = 3;  // one repair may reveal what the next one can repair

void AddFile(const TosserConfig& config, const BaseFile& file, const std::optional<std::string>& content,
             Backup* backup) {
  if (content) AddToBackup(config, file.Path(), &*content, backup);
}

void PlanRepair(const KitSite& site, QuietSite* quiet, Backup* backup) {
  const TosserConfig& config = site.config;
  const ConferenceTable& table = site.conferences;
  const InboundMail inbound = ReadInboundMail(config, table);
  const OutboundMail outbound = ReadOutboundMail(config);
  Serials serials(config);
  for (const OutboundItem& item : outbound.items) serials.See(item.msgid);
  Progress progress("repairing", table.count);
  for (size_t i = 0; i < table.count; ++i) {
    quiet->Keep();
    const BaseModel model = ReadBaseModel(config.MsgDir, table.entries[i].Number);
    serials.SeeLines(model);
    const BaseRepair repair = PlanBaseRepair(model, table.entries[i], inbound, outbound);
    AddFile(config, model.sig, repair.sig, backup);
    AddFile(config, model.ptr, repair.ptr, backup);
    AddFile(config, model.idx, repair.idx, backup);
    AddFile(config, model.dat, repair.dat, backup);
    backup->texts.insert(backup->texts.end(), repair.texts.begin(), repair.texts.end());
    progress.Add(1);
  }
  if (serials.IsBehind()) {
    const std::string content = fmt::format("{}{}", serials.Newest(), kOsLineEnd);
    AddToBackup(config, serials.Path(), &content, backup);
    backup->texts.push_back(fmt::format("{}: wrote {}", ShownName(serials.Path()), serials.Newest()));
  }
  for (const Leftover& left : FindLeftovers(config, inbound, outbound)) {
    AddToBackup(config, left.path, nullptr, backup);
    backup->texts.push_back(ShownName(left.path) + ": moved to the backup");
  }
}

}  // namespace

Repair RepairSite(const KitSite& site) {
  Repair repair;
  QuietSite quiet(site.config);
  if (!quiet.RemovedLock().empty()) repair.change.texts.push_back(quiet.RemovedLock());
  const ChangePlan plan = [&](Backup* backup) { PlanRepair(site, &quiet, backup); };
  for (int round = 0; round < kRounds && ChangeSite(site.config, &quiet, plan, &repair.change); ++round) quiet.Keep();
  repair.left = VerifySite(site, kLockIsOurs);
  return repair;
}
