#include <fmt/format.h>

#include <memory>
#include <unordered_map>

#include "base/ascii.h"
#include "base/scan_number.h"
#include "kit/kit_command.h"
#include "kit/kit_output.h"
#include "kit/mbox.h"
#include "kit/message_render.h"
#include "kit/output_file.h"
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
  std::vector<std::string> exported;  // the format and the file
  bool force = false;

  bool IsSummary() const {
    return conference.empty() && filter.IsEmpty() && !threads && number_option->count() == 0 && exported.empty();
  }
};

// The conference of that number or area tag; of an empty text, all.
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

// What is asked for of a conference.
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
      const std::optional<std::string> text = ReadText(site_, message, entry.Number);
      if (!text) ++unreadable_;
      if (mbox_) {
        file_.Write(MboxMessage(entry, message, text.value_or(""), msgid_of));
      } else {
        const Json json = MessageJson(entry.Number, message, text);
        file_.Write((count_ == 0 ? "\n" : ",\n") + json.dump(-1, ' ', false, Json::error_handler_t::replace));
      }
      ++count_;
    }
  }

  int Finish(const std::string& path) {
    if (!mbox_) file_.Write("\n]}\n");
    file_.Finish();
    Show(fmt::format("{}: {} message(s)\n", ShownName(path), count_));
    if (unreadable_ != 0) Complain(fmt::format("cvkit: the texts of {} message(s) cannot be read\n", unreadable_));
    return unreadable_ == 0 ? kAllIsWell : kNeedsAttention;
  }

 private:
  const KitSite& site_;
  bool mbox_;
  OutputFile file_;
  size_t count_ = 0;
  size_t unreadable_ = 0;
};

int Summarize(const KitSite& site, const MessagesOptions& options, bool* settled) {
  Json conferences = Json::array();
  if (!options.common.json) Show(ConferenceHeading());
  for (const ConferenceEntry* const entry : FindConferences(site, "")) {
    const StoredConference conference = ReadConference(site, *entry);
    *settled = *settled && conference.settled;
    if (options.common.json) {
      conferences.push_back(ConferenceJson(conference));
    } else {
      Show(ConferenceLine(conference));
    }
  }
  if (options.common.json) ShowJson({{"conferences", conferences}});
  return kAllIsWell;
}

int List(const KitSite& site, const MessagesOptions& options, bool* settled) {
  const bool whole = options.number_option->count() != 0;
  int status = kAllIsWell;
  Json listed = Json::array();
  for (const ConferenceEntry* const entry : FindConferences(site, options.conference)) {
    const Selection selection = Select(site, *entry, options);
    *settled = *settled && selection.conference.settled;
    if (whole && selection.places.empty()) {
      throw NotAnswered(fmt::format("conference {} has no message {}", entry->Number, options.number));
    }
    if (!options.common.json && options.conference.empty() && !selection.places.empty()) {
      Show(Coloured(kStrong, fmt::format("conf {} {}", entry->Number, ShownMail(entry->ConfName))) + "\n");
    }
    for (const ThreadPlace& place : selection.places) {
      const StoredMessage& message = selection.conference.messages[place.index];
      std::optional<std::string> text;
      if (whole || options.text) {
        text = ReadText(site, message, entry->Number);
        if (!text && !message.header.Deleted) status = kNeedsAttention;
      }
      if (options.common.json) {
        listed.push_back(MessageJson(entry->Number, message, text));
      } else {
        Show(whole || options.text ? WholeMessage(message, text) : MessageLine(message, place.depth));
      }
    }
  }
  if (options.common.json) ShowJson({{"messages", listed}});
  return status;
}

int Export(const KitSite& site, const MessagesOptions& options, bool* settled) {
  if (options.exported[0] != "mbox" && options.exported[0] != "json") {
    throw NotAnswered("--export writes mbox or json, not " + ShownName(options.exported[0]));
  }
  Exporter exporter(site, options);
  for (const ConferenceEntry* const entry : FindConferences(site, options.conference)) {
    const Selection selection = Select(site, *entry, options);
    *settled = *settled && selection.conference.settled;
    exporter.Add(selection);
  }
  return exporter.Finish(options.exported[1]);
}

int RunMessages(const MessagesOptions& options) {
  if (options.number_option->count() != 0 && options.conference.empty()) {
    throw NotAnswered("--number needs a conference");
  }
  if (!options.filter.since.empty() && !IsIsoDate(options.filter.since + "T00:00")) {
    throw NotAnswered("--since wants a date such as 2025-01-05");
  }
  const KitSite site = LoadKitSite(options.common.config);
  bool settled = true;
  const auto answer = options.IsSummary() ? Summarize : !options.exported.empty() ? Export : List;
  const int status = answer(site, options, &settled);
  const std::string unsettled = settled ? LookAtSite(site.config).Unsettled() : "the message base changes";
  if (!unsettled.empty()) Complain("Unsettled: " + unsettled + ".\n");
  return status;
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
  command->callback([options, status] { *status = RunMessages(*options); });
}
