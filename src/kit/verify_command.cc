// cvkit verify: is the message base sound?
#include <memory>
#include <nlohmann/json.hpp>

#include "app/config.h"
#include "kit/kit_command.h"
#include "kit/kit_format.h"
#include "kit/kit_output.h"
#include "kit/verify_site.h"

namespace {

using Json = nlohmann::ordered_json;

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
  if (!finding.repair.empty()) line += fmt::format("         repair: {}\n", finding.repair);
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
          {"file", ShownName(finding.file)},
          {"record", or_null(finding.record >= 0, finding.record)},
          {"text", finding.text},
          {"repair", or_null(!finding.repair.empty(), finding.repair)}};
}

void ShowJson(const Verification& verification) {
  Json findings = Json::array();
  for (const Finding& finding : verification.findings) findings.push_back(JsonOf(finding));
  const Json answer = {{"sound", IsSound(verification.findings)},
                       {"unsettled", verification.unsettled.empty() ? Json() : Json(verification.unsettled)},
                       {"findings", findings},
                       {"repaired", Json::array()},
                       {"backup", nullptr}};
  Show(answer.dump(2) + "\n");
}

TosserConfig ReadConfig(const std::string& path) {
  TosserConfig config;
  if (LoadConfig(path.c_str(), &config) != 0) throw NotAnswered("the configuration cannot be used");
  if (config.HaveConfDir == 0 || config.HaveMsgDir == 0) {
    throw NotAnswered("the configuration names no CONFDIR or no MSGDIR");
  }
  return config;
}

int Verify(const CommonOptions& options) {
  const Verification verification = VerifySite(ReadConfig(options.config));
  options.json ? ShowJson(verification) : ShowText(verification);
  return NeedsAttention(verification.findings) ? kNeedsAttention : kAllIsWell;
}

}  // namespace

void AddVerify(CLI::App* program, int* status) {
  CLI::App* const command = program->add_subcommand("verify", "Is the message base sound?");
  const auto options = std::make_shared<CommonOptions>();
  AddCommonOptions(command, options.get());
  command->callback([options, status] { *status = Verify(*options); });
}
