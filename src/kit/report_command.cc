// cvkit report: the state and history of a site on one page.
#include <CLI/CLI.hpp>
#include <memory>

#include "kit/kit_answer.h"
#include "kit/kit_command.h"
#include "kit/kit_output.h"
#include "kit/log_tail.h"
#include "kit/output_file.h"
#include "kit/progress.h"
#include "kit/report_json.h"
#include "kit/report_page.h"

namespace {

struct ReportOptions {
  CommonOptions common;
  std::string log;
  std::string output;
  bool force = false;
};

int Report(const ReportOptions& options) {
  const KitSite site = LoadKitSite(options.common.config);
  if (!options.output.empty()) RequireOutside(site, options.output);
  Progress progress("accounting");
  const ReportFacts facts = ReadReport(site, options.log.empty() ? LogBeside(options.common.config) : options.log,
                                       [&progress](size_t done, size_t all) { progress.Reached(done, all); });
  progress.Clear();
  const std::string content = options.common.json ? ReportJson(facts) : ReportPage(facts);
  if (options.output.empty()) {
    Show(content);
  } else {
    WriteOutputFile(site, options.output, content, options.force);
  }
  return facts.attention.empty() ? kAllIsWell : kNeedsAttention;
}

}  // namespace

void AddReport(CLI::App* program, int* status) {
  CLI::App* const command =
      program->add_subcommand("report", "The state and history of the site on one page, with pictures");
  const auto options = std::make_shared<ReportOptions>();
  AddCommonOptions(command, &options->common);
  command->add_option("-o,--output", options->output, "Write the page there (default: standard output)")
      ->type_name("FILE");
  command->add_flag("--force", options->force, "Replace a file that is there already");
  command->add_option("--log", options->log, "The log (default: TOSSER.LOG beside the configuration)")
      ->type_name("FILE");
  command->callback([options, status] { *status = Report(*options); });
}
