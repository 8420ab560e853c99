// cvkit verify: is the message base sound?
#include <CLI/CLI.hpp>
#include <memory>

#include "kit/kit_answer.h"
#include "kit/kit_command.h"
#include "kit/kit_format.h"
#include "kit/kit_output.h"
#include "kit/repair_site.h"
#include "kit/shown_facts.h"
#include "kit/verify_site.h"

namespace {

Colour ColourOf(Severity severity) {
  switch (severity) {
    case Severity::kDamage: return kBad;
    case Severity::kLeftover: return kWarning;
    case Severity::kNote: break;
  }
  return kFaint;
}

void ShowFinding(const Finding& finding) {
  const std::string record = finding.record < 0 ? "" : fmt::format(" record {}", finding.record);
  std::string line = Coloured(ColourOf(finding.severity), fmt::format("{:<9}", SeverityWord(finding.severity)));
  line += fmt::format("{}{}: {} ({})\n", ShownName(finding.file), record, finding.text, finding.code);
  if (!finding.repair.empty()) line += fmt::format("         --repair would {}\n", finding.repair);
  Show(line);
}

void ShowText(const Verification& verification) {
  for (const Finding& finding : verification.findings) ShowFinding(finding);
  if (!verification.unsettled.empty()) Show("Unsettled: " + verification.unsettled + ".\n");
  Show(IsSound(verification.findings) ? Coloured(kGood, "The message base is sound.") + "\n"
                                      : Coloured(kBad, "The message base is damaged.") + "\n");
}

Json JsonOf(const Finding& finding) {
  const auto or_null = [](bool known, const auto& value) { return known ? Json(value) : Json(); };
  return {{"code", finding.code},
          {"severity", SeverityWord(finding.severity)},
          {"conference", or_null(finding.conference != 0, finding.conference)},
          {"file", finding.file},
          {"record", or_null(finding.record >= 0, finding.record)},
          {"text", finding.text},
          {"repair", or_null(!finding.repair.empty(), finding.repair)}};
}

void ShowJson(const Verification& verification, const Repair& repair) {
  Json findings = Json::array();
  for (const Finding& finding : verification.findings) findings.push_back(JsonOf(finding));
  const Json backups = repair.change.backups;
  const Json answer = {{"sound", IsSound(verification.findings)},
                       {"unsettled", verification.unsettled.empty() ? Json() : Json(verification.unsettled)},
                       {"findings", findings},
                       {"repaired", repair.change.texts},
                       {"backup", backups.empty() ? Json() : backups.back()},
                       {"backups", backups}};
  ::ShowJson(answer);
}

struct VerifyOptions : CommonOptions {
  bool repair = false;
  std::string undo;  // the directory of a backup
};

void ShowRepaired(const Repair& repair) {
  for (const std::string& text : repair.change.texts) Show(Coloured(kGood, "repaired ") + text + "\n");
  for (const std::string& directory : repair.change.backups) {
    Show("The files as they were are in " + ShownName(directory) + ".\n");
  }
}

int Verify(const VerifyOptions& options) {
  const KitSite site = LoadKitSite(options.config);
  if (!options.undo.empty()) UndoChange(site.config, options.undo);
  Repair repair;
  if (options.repair) {
    repair = RepairSite(site);
  } else {
    repair.left = VerifySite(site);
  }
  if (options.json) {
    ShowJson(repair.left, repair);
  } else {
    ShowRepaired(repair);
    ShowText(repair.left);
  }
  return NeedsAttention(repair.left.findings) ? kNeedsAttention : kAllIsWell;
}

}  // namespace

void AddVerify(CLI::App* program, int* status) {
  CLI::App* const command = program->add_subcommand("verify", "Is the message base sound? With --repair: mend it");
  const auto options = std::make_shared<VerifyOptions>();
  AddCommonOptions(command, options.get());
  CLI::Option* const repair =
      command->add_flag("--repair", options->repair, "Mend what can be mended; keeps a backup in MSGDIR");
  command->add_option("--undo", options->undo, "Take a repair back")->type_name("DIRECTORY")->excludes(repair);
  command->callback([options, status] { *status = Verify(*options); });
}
