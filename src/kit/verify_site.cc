#include "kit/verify_site.h"

#include <algorithm>
#include <map>

#include "kit/base_model.h"
#include "kit/inbound_mail.h"
#include "kit/kit_format.h"
#include "kit/kit_output.h"
#include "kit/last_scan.h"
#include "kit/leftovers.h"
#include "kit/mail_match.h"
#include "kit/outbound_mail.h"
#include "kit/progress.h"
#include "kit/serial_judge.h"
#include "kit/site_state.h"
#include "kit/verify_base.h"
#include "kit/verify_sig.h"

namespace {

// How often a conference is read while a run or a caller may be changing it, with a pause between.
constexpr int kVerifyLooks = 5;
constexpr uint32_t kPauseMilliseconds = 200;

// The mail outside the base, and what is collected over all conferences.
struct Verifying {
  const TosserConfig& config;
  InboundMail inbound;
  OutboundMail outbound;
  Serials serials;
  size_t unsent = 0;      // messages of conferences that a scan looks at
  bool changing = false;  // a file changed while it was read
};

Findings JudgeConference(const BaseModel& model, const ConferenceEntry& entry, const Verifying& verifying) {
  Findings findings;
  JudgeBase(model, verifying.inbound, &findings);
  JudgeSig(model, verifying.inbound, &findings);
  std::map<size_t, size_t> pending;  // by bundle
  for (const PendingExport& unsent : FindPendingExports(model, entry, verifying.outbound)) {
    if (unsent.sent) {
      findings.push_back({"sig-missing", Severity::kDamage, model.conference, model.ptr.Path(),
                          static_cast<int64_t>(unsent.header),
                          fmt::format("message #{} was sent, and has no SIG line: replies to it could not be linked",
                                      model.headers[unsent.header].number),
                          "add the line of '" + ShownMail(unsent.msgid) + "', which its bundle tells"});
    } else {
      ++pending[unsent.bundle];
    }
  }
  for (const auto& [bundle, count] : pending) {
    const std::string& path = verifying.outbound.bundles[bundle];
    findings.push_back({"bundle-unsent", Severity::kDamage, model.conference, path, -1,
                        fmt::format("{} of this bundle {} still unsent in conference {}: the next scan would send {}",
                                    Count(count, "message"), count == 1 ? "is" : "are", model.conference,
                                    count == 1 ? "it again" : "them again"),
                        "mark them sent, with their SIG lines"});
  }
  return findings;
}

// A run at work may complete what looks like damage: the conference is then read again before anything is reported.
void VerifyConference(const ConferenceEntry& entry, bool unsettled, Verifying* verifying, Findings* findings) {
  for (int look = 1;; ++look) {
    const BaseModel model = ReadBaseModel(verifying->config.MsgDir, entry.Number);
    Findings found = JudgeConference(model, entry, *verifying);
    const bool final = model.steady && (!unsettled || !NeedsAttention(found));
    if (!final && look < kVerifyLooks) {
      OsSleep(kPauseMilliseconds);
      continue;
    }
    if (!model.steady) verifying->changing = true;
    verifying->serials.SeeLines(model);
    if (IsNetworked(entry)) {
      verifying->unsent += static_cast<size_t>(std::count_if(
          model.headers.begin(), model.headers.end(), [](const HeaderModel& h) { return !h.sent && !h.deleted; }));
    }
    findings->insert(findings->end(), std::make_move_iterator(found.begin()), std::make_move_iterator(found.end()));
    return;
  }
}

void JudgeLock(const SiteState& state, Findings* findings) {
  if (state.holder != LockHolder::kAbandoned) return;
  findings->push_back(
      {"lock-abandoned", Severity::kLeftover, 0, state.lock_path, -1,
       "the lock of a run that did not end" + (state.owner.empty() ? std::string() : ": " + ShownName(state.owner)),
       "remove it"});
}

// Reports a bundle that the mailer fetched before its messages were marked sent. Which of the unsent messages it held
// is no longer known.
void JudgeLastScan(const KitSite& site, size_t unsent, Findings* findings) {
  if (unsent == 0) return;
  const std::string name = FindFetchedBundle(site);
  if (name.empty()) return;
  findings->push_back({"bundle-fetched", Severity::kDamage, 0, std::string(site.config.OutDir) + "/" + name, -1,
                       fmt::format("the last scan published this bundle, did not mark all of its messages, and the "
                                   "bundle is gone: of {} the next scan would send those again that it held",
                                   Count(unsent, "unsent message")),
                       ""});
}

}  // namespace

Verification VerifySite(const KitSite& site, LockOwnership ownership) {
  const TosserConfig& config = site.config;
  const ConferenceTable& table = site.conferences;
  SiteState state = LookAtSite(config);
  if (ownership == kLockIsOurs) state.holder = LockHolder::kNobody;
  Verifying verifying = {config, ReadInboundMail(config, table), ReadOutboundMail(config), Serials(config)};
  for (const OutboundItem& item : verifying.outbound.items) verifying.serials.See(item.msgid);

  Verification verification;
  Findings& findings = verification.findings;
  Progress progress("judging", table.count);
  for (size_t i = 0; i < table.count; ++i) {
    VerifyConference(table.entries[i], state.IsUnsettled(), &verifying, &findings);
    progress.Add(1);
  }
  progress.Clear();
  verifying.serials.Judge(&findings);
  JudgeLock(state, &findings);
  if (state.holder != LockHolder::kAtWork) {
    JudgeLastScan(site, verifying.unsent, &findings);
    for (Leftover& left : FindLeftovers(config, verifying.inbound, verifying.outbound)) {
      findings.push_back({left.code, Severity::kLeftover, 0, left.path, -1, left.text, "move it to the backup"});
    }
  }
  verification.unsettled = state.Unsettled();
  if (verification.unsettled.empty() && verifying.changing) verification.unsettled = "files change while they are read";
  return verification;
}
