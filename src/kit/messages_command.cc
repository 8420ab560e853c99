#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <unordered_map>

#include "base/ascii.h"
#include "base/scan_number.h"
#include "kit/kit_answer.h"
#include "kit/kit_command.h"
#include "kit/kit_format.h"
#include "kit/kit_output.h"
#include "kit/mark_sent.h"
#include "kit/mbox.h"
#include "kit/message_render.h"
#include "kit/output_file.h"
#include "kit/progress.h"
#include "kit/site_state.h"

namespace {

struct MessagesOptions {
  CommonOptions common;
  std::string conference;
  MessageFilter filter;
  bool threads = false;
  bool text = false;
  int32_t number = 0;
  CLI::Option* number_option = nullptr;
  std::vector<std::string> exported;  // the format and the file name
  bool force = false;
  bool mark_sent = false;
  std::string before;
  bool apply = false;

  bool IsSummary() const {
    return conference.empty() && filter.IsEmpty() && !threads && number_option->count() == 0 && exported.empty();
  }
};

// Returns the conference with that number or area tag; all of them for an empty text.
std::vector<const ConferenceEntry*> FindConferences(const KitSite& site, const std::string& wanted) {
  std::vector<const ConferenceEntry*> found;
  const char* at = wanted.c_str();
  int32_t number = 0;
  const bool by_number = ScanInt32(&at, &number) && *at == '\0';
  for (size_t i = 0; i < site.conferences.count; ++i) {
    const ConferenceEntry& entry = site.conferences.entries[i];
    const bool by_tag = entry.NetIDName[0] != '\0' && SameWord(entry.NetIDName, wanted.c_str());
    if (wanted.empty() || (by_number ? entry.Number == number : by_tag)) found.push_back(&entry);
  }
  if (found.empty()) throw NotAnswered("there is no conference " + ShownName(wanted));
  return found;
}

// What is wanted from a conference.
struct Selection {
  StoredConference conference;
  std::vector<ThreadPlace> places;
};

Selection Select(const KitSite& site, const ConferenceEntry& entry, const MessagesOptions& options) {
  Selection selection = {ReadConference(site, entry), {}};
  const std::vector<StoredMessage>& messages = selection.conference.messages;
  std::vector<ThreadPlace> places;
  if (options.threads) {
    places = ThreadOrder(messages);
  } else {
    for (size_t i = 0; i < messages.size(); ++i) places.push_back({i, 0});
  }
  for (const ThreadPlace& place : places) {
    const StoredMessage& message = messages[place.index];
    if (options.number_option->count() != 0 && message.header.MsgNumber != options.number) continue;
    if (IsAskedFor(site, message, entry.Number, options.filter)) selection.places.push_back(place);
  }
  return selection;
}

class Exporter {
 public:
  Exporter(const KitSite& site, const MessagesOptions& options)
      : site_(site), mbox_(options.exported[0] == "mbox"), file_(site, options.exported[1], options.force) {
    if (!mbox_) file_.Write("{\"messages\": [");
  }

  void Add(const Selection& selection) {
    const ConferenceEntry& entry = *selection.conference.entry;
    const std::vector<StoredMessage>& messages = selection.conference.messages;
    std::unordered_map<int32_t, std::string> msgids;
    for (const StoredMessage& message : messages) msgids.try_emplace(message.header.MsgNumber, message.msgid);
    const auto msgid_of = [&msgids](int32_t number) {
      const auto found = msgids.find(number);
      return found != msgids.end() ? found->second : std::string();
    };
    for (const ThreadPlace& place : selection.places) {
      const StoredMessage& message = messages[place.index];
      if (message.header.Deleted) continue;
      const std::optional<std::string> text = ReadMessageText(site_, message, entry.Number);
      if (!text) ++unreadable_;
      if (mbox_) {
        file_.Write(MboxMessage(entry, message, text.value_or(""), msgid_of));
      } else {
        const Json json = MessageJson(entry.Number, message, text);
        file_.Write((count_ == 0 ? "\n" : ",\n") + JsonText(json, -1));
      }
      ++count_;
    }
  }

  size_t Count() const { return count_; }

  int Finish() {
    if (!mbox_) file_.Write("\n]}\n");
    file_.Finish();
    if (unreadable_ == 0) return kAllIsWell;
    Complain("cvkit: the texts of " + ::Count(unreadable_, "message") + " cannot be read\n");
    return kNeedsAttention;
  }

 private:
  const KitSite& site_;
  bool mbox_;
  OutputFile file_;
  size_t count_ = 0;
  size_t unreadable_ = 0;
};

// The JSON of an answer, if wanted, and the exit status.
struct Answer {
  Json json;
  int status = kAllIsWell;
  bool settled = true;
};

Answer Summarize(const KitSite& site, const MessagesOptions& options) {
  Answer answer;
  Json conferences = Json::array();
  if (!options.common.json) Show(ConferenceHeading());
  const std::vector<const ConferenceEntry*> entries = FindConferences(site, "");
  std::optional<Progress> progress;
  if (options.common.json) progress.emplace("messages", entries.size());
  for (const ConferenceEntry* const entry : entries) {
    const StoredConference conference = ReadConference(site, *entry);
    answer.settled = answer.settled && IsSettled(site, conference);
    if (options.common.json) {
      conferences.push_back(ConferenceJson(conference));
      progress->Add(1);
    } else {
      Show(ConferenceLine(conference));
    }
  }
  answer.json["conferences"] = conferences;
  return answer;
}

Answer List(const KitSite& site, const MessagesOptions& options) {
  const bool whole = options.number_option->count() != 0;
  Answer answer;
  Json listed = Json::array();
  const std::vector<const ConferenceEntry*> entries = FindConferences(site, options.conference);
  std::optional<Progress> progress;
  if (options.common.json) progress.emplace("messages", entries.size());
  for (const ConferenceEntry* const entry : entries) {
    const Selection selection = Select(site, *entry, options);
    if (whole && selection.places.empty()) {
      throw NotAnswered(fmt::format("conference {} has no message {}", entry->Number, options.number));
    }
    if (progress) progress->Add(1);
    if (!options.common.json && options.conference.empty() && !selection.places.empty()) {
      Show(Coloured(kStrong, fmt::format("conf {} {}", entry->Number, ShownMail(entry->ConfName))) + "\n");
    }
    for (const ThreadPlace& place : selection.places) {
      const StoredMessage& message = selection.conference.messages[place.index];
      std::optional<std::string> text;
      if (whole || options.text) {
        text = ReadMessageText(site, message, entry->Number);
        if (!text && !message.header.Deleted) answer.status = kNeedsAttention;
      }
      if (options.common.json) {
        listed.push_back(MessageJson(entry->Number, message, text));
      } else {
        Show(whole || options.text ? WholeMessage(message, text) : MessageLine(message, place.depth));
      }
    }
    answer.settled = answer.settled && IsSettled(site, selection.conference);
  }
  answer.json["messages"] = listed;
  return answer;
}

Answer Export(const KitSite& site, const MessagesOptions& options) {
  if (options.exported[0] != "mbox" && options.exported[0] != "json") {
    throw NotAnswered("--export writes mbox or json, not " + ShownName(options.exported[0]));
  }
  Answer answer;
  Exporter exporter(site, options);
  const std::vector<const ConferenceEntry*> entries = FindConferences(site, options.conference);
  std::optional<Progress> progress(std::in_place, "messages", entries.size());
  for (const ConferenceEntry* const entry : entries) {
    const Selection selection = Select(site, *entry, options);
    exporter.Add(selection);
    answer.settled = answer.settled && IsSettled(site, selection.conference);
    progress->Add(1);
  }
  progress.reset();
  answer.status = exporter.Finish();
  answer.json = {{"file", options.exported[1]}, {"exported", exporter.Count()}};
  if (!options.common.json) Show(ShownName(options.exported[1]) + ": " + Count(exporter.Count(), "message") + "\n");
  return answer;
}

Answer AnswerMarkSent(const KitSite& site, const MessagesOptions& options) {
  const std::vector<const ConferenceEntry*> entries = FindConferences(site, options.conference);
  SiteChange change;
  const std::vector<MarkedConference> marked = options.apply ? MarkOldSent(site, entries, options.before, &change)
                                                             : CountOldUnsent(site, entries, options.before);
  Json conferences = Json::array();
  std::string shown;
  size_t messages = 0;
  for (const MarkedConference& one : marked) {
    conferences.push_back({{"number", one.conference}, {"messages", one.messages}, {"undated", one.undated}});
    messages += one.messages;
    if (one.messages != 0) shown += fmt::format("conf {}: {}\n", one.conference, Count(one.messages, "message"));
    if (one.undated == 0) continue;
    shown +=
        fmt::format("conf {}: {} without a date, unsent as before\n", one.conference, Count(one.undated, "message"));
  }
  shown += Count(messages, "unsent message") + " of before " + options.before +
           (options.apply ? " marked sent.\n" : ": --apply marks them sent.\n");
  for (const std::string& backup : change.backups) {
    shown += "The files as they were are in " + ShownName(backup) + ": cvkit verify --undo takes the change back.\n";
  }
  if (!options.common.json) Show(shown);
  Answer answer;
  answer.json = {{"conferences", conferences},
                 {"messages", messages},
                 {"applied", options.apply},
                 {"backup", change.backups.empty() ? Json() : Json(ShownName(change.backups.back()))}};
  return answer;
}

void RequireDate(const char* option, const std::string& date) {
  if (!date.empty() && !IsIsoDate(date + "T00:00")) {
    throw NotAnswered(std::string(option) + " wants a date such as 2025-01-05");
  }
}

int RunMessages(const MessagesOptions& options) {
  if (options.number_option->count() != 0 && options.conference.empty()) {
    throw NotAnswered("--number needs a conference");
  }
  RequireDate("--since", options.filter.since);
  RequireDate("--before", options.before);
  const KitSite site = LoadKitSite(options.common.config);
  const auto answer_of = options.mark_sent           ? AnswerMarkSent
                         : options.IsSummary()       ? Summarize
                         : !options.exported.empty() ? Export
                                                     : List;
  Answer answer = answer_of(site, options);
  const std::string unsettled = answer.settled ? LookAtSite(site.config).Unsettled() : "the message base changes";
  if (options.common.json) {
    answer.json["unsettled"] = TextOrNull(unsettled);
    ShowJson(answer.json);
  } else if (!unsettled.empty()) {
    Show("Unsettled: " + unsettled + ".\n");
  }
  return answer.status;
}

}  // namespace

void AddMessages(CLI::App* program, int* status) {
  const auto options = std::make_shared<MessagesOptions>();
  CLI::App* const command = program->add_subcommand("messages", "What is in the message base");
  AddCommonOptions(command, &options->common);
  command->add_option("CONF", options->conference, "A conference, by its number or area tag")->type_name("");
  command->add_flag("--threads", options->threads, "Show replies below what they reply to");
  options->number_option =
      command->add_option("--number", options->number, "Read message N of the conference")->type_name("N");
  command->add_flag("--text", options->text, "Show the texts too");
  command->add_option("--search", options->filter.search, "Messages with TEXT in names, subject, MSGID or text")
      ->type_name("TEXT");
  command->add_flag("--unsent", options->filter.unsent, "Messages that the next scan would send");
  command->add_option("--from", options->filter.from, "Messages from NAME, or a piece of it")->type_name("NAME");
  command->add_option("--to", options->filter.to, "Messages to NAME, or a piece of it")->type_name("NAME");
  command->add_option("--since", options->filter.since, "Messages of DATE (2025-01-05) and later")->type_name("DATE");
  command->add_option("--export", options->exported, "Write the messages that are not deleted: mbox FILE or json FILE")
      ->option_text("mbox|json FILE")
      ->expected(2)
      ->type_size(1);
  command->add_flag("--force", options->force, "Replace a file that is there already");
  CLI::Option* const before =
      command->add_option("--before", options->before, "With --mark-sent: messages of before DATE")->type_name("DATE");
  CLI::Option* const mark = command
                                ->add_flag("--mark-sent", options->mark_sent,
                                           "How many unsent messages are old: the next scan is not to send them")
                                ->needs(before);
  before->needs(mark);
  command->add_flag("--apply", options->apply, "With --mark-sent: mark them; keeps a backup in MSGDIR")->needs(mark);
  command->callback([options, status] { *status = RunMessages(*options); });
}
