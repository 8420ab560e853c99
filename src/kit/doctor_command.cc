// cvkit doctor: is the site set up right?
#include <CLI/CLI.hpp>
#include <memory>

#include "kit/attention_output.h"
#include "kit/doctor.h"
#include "kit/kit_answer.h"
#include "kit/kit_command.h"
#include "kit/kit_output.h"
#include "kit/log_tail.h"
#include "kit/shown_facts.h"

namespace {

struct DoctorOptions {
  CommonOptions common;
  std::string log;
  std::string box;
};

int Doctor(const DoctorOptions& options) {
  const std::string& config = options.common.config;
  const Examination examination =
      ExamineSite({config, options.log.empty() ? LogBeside(config) : options.log, options.box});
  const Attentions& found = examination.attention;
  if (options.common.json) {
    Json answer = AttentionJson(found);
    answer["unsettled"] = TextOrNull(examination.unsettled);
    ShowJson(answer);
  } else {
    if (!examination.unsettled.empty()) Show("Unsettled: " + examination.unsettled + ".\n");
    ShowAttention(found);
    if (found.empty()) Show(Coloured(kGood, "Everything is set up right.") + "\n");
  }
  return found.empty() ? kAllIsWell : kNeedsAttention;
}

}  // namespace

void AddDoctor(CLI::App* program, int* status) {
  CLI::App* const command = program->add_subcommand("doctor", "Is the site set up right?");
  const auto options = std::make_shared<DoctorOptions>();
  AddCommonOptions(command, &options->common);
  command->add_option("--log", options->log, "The log (default: TOSSER.LOG beside the configuration)")
      ->type_name("FILE");
  command->add_option("--box", options->box, "The mailer's box, where the exchange script puts bundles")
      ->type_name("DIRECTORY");
  command->callback([options, status] { *status = Doctor(*options); });
}
