// cvkit rehearse: shows what the next run would do.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>

#include "kit/kit_answer.h"
#include "kit/kit_command.h"
#include "kit/kit_format.h"
#include "kit/kit_output.h"
#include "kit/program_copy.h"
#include "kit/rehearsal.h"
#include "kit/shown_facts.h"
#include "kit/site_files.h"

namespace {

struct RehearseOptions : CommonOptions {
  std::string run;
  std::string program;
  bool keep = false;
};

// A line contains file names and names of people: it is decoded as UTF-8 if all of it is valid, otherwise as code page
// 437.
std::string DecodedLine(const std::string& line) {
  std::string letters = line;
  std::replace_if(
      letters.begin(), letters.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; }, ' ');
  return ShownName(letters).find('\\') == std::string::npos ? line : DecodedMail(line);
}

std::string ShownMessage(const std::string& from, const std::string& to, const std::string& subject) {
  return fmt::format("{} -> {}: {}", ShownMail(from), ShownMail(to), ShownMail(subject));
}

void AddMessages(const std::vector<RehearsedMessage>& messages, std::string* text) {
  for (const RehearsedMessage& one : messages) {
    *text += fmt::format("    {:>6}  {}", one.number, ShownMessage(one.from, one.to, one.subject));
    *text += one.parent ? fmt::format("  (reply to {})\n", *one.parent) : "\n";
  }
}

std::string TellConference(const RehearsedConference& conference) {
  std::string text = fmt::format("  conference {} {}: {} -> {} messages\n", conference.number,
                                 ShownMail(conference.name), conference.before, conference.after);
  AddMessages(conference.stored, &text);
  if (!conference.sent.empty()) text += fmt::format("    {} marked sent:\n", Count(conference.sent.size(), "message"));
  AddMessages(conference.sent, &text);
  return text;
}

std::string TellBundle(const RehearsedBundle& bundle) {
  std::string text = fmt::format("  {}: a bundle of {} with {}\n", ShownName(bundle.directory),
                                 Count(bundle.size, "byte"), Count(bundle.messages.size(), "message"));
  for (const RehearsedExport& one : bundle.messages) {
    text += fmt::format("    {:<15}  {}\n", one.area ? ShownMail(*one.area) : "(netmail)",
                        ShownMessage(one.from, one.to, one.subject));
  }
  return text;
}

std::string TellChanges(const Rehearsal& rehearsal) {
  std::string text;
  for (const RehearsedConference& conference : rehearsal.conferences) text += TellConference(conference);
  for (const RehearsedFile& file : rehearsal.files) {
    if (file.fate != "stays") {
      text += fmt::format("  {}: {}{}\n", ShownName(file.path), file.fate,
                          file.moved.empty() ? "" : " to " + ShownName(file.moved));
    }
  }
  for (const int64_t size : rehearsal.saved)
    text += fmt::format("  a damaged packet of {} saved\n", Count(size, "byte"));
  for (const std::string& area : rehearsal.unknown_areas) text += fmt::format("  unknown area {}\n", ShownMail(area));
  for (const RehearsedBundle& bundle : rehearsal.bundles) text += TellBundle(bundle);
  if (rehearsal.serial_before != rehearsal.serial_after) {
    text +=
        fmt::format("  last serial: {} -> {}\n", ShownName(rehearsal.serial_before), ShownName(rehearsal.serial_after));
  }
  return text;
}

void ShowText(const Rehearsal& rehearsal) {
  for (const std::string& line : rehearsal.lines) Show(Coloured(kFaint, ShownName(DecodedLine(line))) + "\n");
  for (const std::string& why : rehearsal.unsettled) Show("Unsettled: " + why + ".\n");
  if (!rehearsal.hindrance.empty()) Show(Coloured(kBad, "But " + rehearsal.hindrance + ".") + "\n");
  const std::string changes = TellChanges(rehearsal);
  Show(changes.empty() ? "Nothing would change.\n" : "What would change:\n" + changes);
  for (const RehearsedFile& file : rehearsal.files) {
    if (file.fate == "stays") Show(fmt::format("  {}: stays\n", ShownName(file.path)));
  }
}

Json JsonOf(const std::vector<RehearsedMessage>& messages) {
  Json list = Json::array();
  for (const RehearsedMessage& one : messages) {
    list.push_back({{"message_number", one.number},
                    {"from", DecodedMail(one.from)},
                    {"to", DecodedMail(one.to)},
                    {"subject", DecodedMail(one.subject)},
                    {"parent", OrNull(one.parent)}});
  }
  return list;
}

Json JsonOf(const RehearsedBundle& bundle) {
  Json messages = Json::array();
  for (const RehearsedExport& one : bundle.messages) {
    messages.push_back({{"from", DecodedMail(one.from)},
                        {"to", DecodedMail(one.to)},
                        {"subject", DecodedMail(one.subject)},
                        {"area", one.area ? Json(DecodedMail(*one.area)) : Json()},
                        {"msgid", TextOrNull(one.msgid)}});
  }
  return {{"directory", bundle.directory}, {"size", bundle.size}, {"messages", messages}};
}

template <class List, class Make>
Json Each(const List& list, Make make) {
  Json array = Json::array();
  for (const auto& one : list) array.push_back(make(one));
  return array;
}

void ShowFacts(const RehearseOptions& options, const Rehearsal& rehearsal, const std::string& kept) {
  const auto or_null = [](const std::string& name) { return name.empty() ? Json() : Json(name); };
  ShowJson({{"run", options.run},
            {"status", rehearsal.status},
            {"lines", Each(rehearsal.lines, [](const std::string& line) { return Json(DecodedLine(line)); })},
            {"hindrance", or_null(rehearsal.hindrance)},
            {"unsettled", rehearsal.unsettled},
            {"conferences", Each(rehearsal.conferences,
                                 [](const RehearsedConference& one) -> Json {
                                   return {{"number", one.number},         {"name", DecodedMail(one.name)},
                                           {"before", one.before},         {"after", one.after},
                                           {"stored", JsonOf(one.stored)}, {"sent", JsonOf(one.sent)}};
                                 })},
            {"files", Each(rehearsal.files,
                           [&](const RehearsedFile& one) -> Json {
                             return {{"path", one.path}, {"fate", one.fate}, {"to", or_null(one.moved)}};
                           })},
            {"saved", rehearsal.saved},
            {"unknown_areas",
             Each(rehearsal.unknown_areas, [](const std::string& area) { return Json(DecodedMail(area)); })},
            {"bundles", Each(rehearsal.bundles, [](const RehearsedBundle& one) { return JsonOf(one); })},
            {"serial", {{"before", or_null(rehearsal.serial_before)}, {"after", or_null(rehearsal.serial_after)}}},
            {"kept", or_null(kept)}});
}

int RehearseRun(const RehearseOptions& options) {
  const KitSite site = LoadKitSite(options.config);
  const std::string program = options.program.empty() ? ProgramIn(OwnDirectory()) : options.program;
  if (!LookAtFile(program).exists) {
    throw NotAnswered(ShownName(program) + " is not there: name cvtoss32 with --program");
  }
  RemoveAbandonedRehearsals();
  RehearsalPlace place;
  const RehearsedRun mode = options.run == "toss" ? RehearsedRun::kToss : RehearsedRun::kScan;
  const Rehearsal rehearsal = Rehearse(site, mode, program, place);
  const std::string kept = options.keep ? place.Keep() : "";
  if (options.json) {
    ShowFacts(options, rehearsal, kept);
  } else {
    ShowText(rehearsal);
    if (!kept.empty()) Show("The copy is kept in " + ShownName(kept) + "\n");
  }
  return rehearsal.status == 0 && rehearsal.hindrance.empty() ? kAllIsWell : kNeedsAttention;
}

}  // namespace

void AddRehearse(CLI::App* program, int* status) {
  CLI::App* const command = program->add_subcommand("rehearse", "What would the next run do?");
  const auto options = std::make_shared<RehearseOptions>();
  AddCommonOptions(command, options.get());
  command->add_option("run", options->run, "toss or scan")->required()->check(CLI::IsMember({"toss", "scan"}));
  command->add_option("--program", options->program, "The program (default: cvtoss32 beside cvkit)")->type_name("FILE");
  command->add_flag("--keep", options->keep, "Keep the copy of the site, and show its path");
  command->callback([options, status] { *status = RehearseRun(*options); });
}
