#include "kit/ledger.h"

#include <algorithm>
#include <numeric>

#include "ftn/packet_reader.h"
#include "ftn/zip_reader.h"
#include "kit/kit_answer.h"
#include "kit/kit_output.h"
#include "kit/ledger_files.h"
#include "kit/ledger_judge.h"
#include "kit/ledger_match.h"
#include "kit/log_reader.h"
#include "kit/site_files.h"
#include "kit/site_state.h"

namespace {

bool IsInPeriod(const LedgerQuestion& question, const std::string& when) {
  return when >= question.since && when.substr(0, question.until.size()) <= question.until;
}

bool IsAskedFor(const LedgerQuestion& question, const LedgerFile& file) {
  if (!IsInPeriod(question, file.when)) return false;
  return question.files.empty() || std::any_of(question.files.begin(), question.files.end(),
                                               [&](const std::string& name) { return NamePart(name) == file.name; });
}

// Makes the ledger.
class Making {
 public:
  Making(const KitSite& site, const LedgerQuestion& question, const LedgerReader& reader)
      : site_(site), question_(question), reader_(reader), files_(site.config), base_(site.Base()) {}

  LedgerSums Make() {
    ReadHistory();
    for (const LedgerItem& item : files_.Items(history_)) {
      if (IsAskedFor(question_, item.file)) items_.push_back(item);
    }
    for (const LedgerItem& item : items_) all_bytes_ += static_cast<size_t>(item.size);
    for (const LedgerItem& item : items_) {
      JudgeItem(item);
      Went(static_cast<size_t>(item.size));
    }
    if (!question_.msgid.empty() && sums_.In() == 0) AskTheBase();
    return sums_;
  }

 private:
  void Went(size_t bytes) {
    bytes_ += bytes;
    if (reader_.progress) reader_.progress(bytes_, all_bytes_);
  }

  void ReadHistory() {
    const std::vector<std::string> parts = FindLogParts(question_.log);
    for (const std::string& part : parts) all_bytes_ += static_cast<size_t>(LookAtFile(part).status.size);
    ReadLog(
        parts,
        [this](const LogRecord& record) {
          history_.Take(record);
          return true;
        },
        [this](size_t bytes) { Went(bytes); });
  }

  void TellFile() {
    if (told_file_) return;
    told_file_ = true;
    ++sums_.files;
    if (reader_.file) reader_.file(file_);
  }

  void Tell(const LedgerMessage& message) {
    if (!question_.msgid.empty() && message.msgid != question_.msgid) return;
    TellFile();
    ++sums_.of[static_cast<size_t>(message.fate)];
    if (reader_.message) reader_.message(file_, message);
  }

  LedgerJudge Judge() {
    return {history_, &base_, [this](const LedgerMessage& message) { Tell(message); }};
  }

  // The packets at one position of each toss. Each is complete, except for the last one of an interrupted toss.
  static std::vector<PacketToss> TossesOf(const std::vector<const LoggedToss*>& tosses, size_t place) {
    std::vector<PacketToss> found;
    for (const LoggedToss* toss : tosses) {
      if (place < toss->packets.size()) found.push_back(At(*toss, place));
    }
    return found;
  }

  static PacketToss At(const LoggedToss& toss, size_t place) {
    return {&toss.packets[place], place + 1 < toss.packets.size() || toss.disposal != Disposal::kNone};
  }

  void JudgeContent(const LedgerItem& item, const ByteBuffer& content) {
    const bool inbound = file_.state == FileState::kWaiting || file_.state == FileState::kRetained;
    std::vector<size_t> behind(item.tosses.size());  // each toss's packets so far
    std::vector<std::vector<bool>> used;
    for (const LoggedToss* toss : item.tosses) used.emplace_back(toss->packets.size());
    (void)EachSourcePacket(content, site_.conferences, [&](const SourcePacket& packet) {
      std::vector<PacketToss> tosses;
      for (size_t t = 0; t < item.tosses.size(); ++t) {
        const std::vector<LoggedPacket>& packets = item.tosses[t]->packets;
        const auto own = std::find_if(packets.begin() + static_cast<ptrdiff_t>(behind[t]), packets.end(),
                                      [&](const LoggedPacket& one) { return one.key == packet.key; });
        if (own == packets.end()) continue;
        const auto place = static_cast<size_t>(own - packets.begin());
        tosses.push_back(At(*item.tosses[t], place));
        used[t][place] = true;
        behind[t] = place + 1;
      }
      Judge().JudgePacket(packet, tosses, inbound);
    });
    for (size_t place = 0;; ++place) {
      std::vector<PacketToss> cut_off;
      bool any = false;
      for (size_t t = 0; t < item.tosses.size(); ++t) {
        if (place >= used[t].size()) continue;
        any = true;
        if (!used[t][place]) cut_off.push_back(At(*item.tosses[t], place));
      }
      if (!any) break;
      Judge().TellUnknown(cut_off, 0);
    }
  }

  // If a file is gone, the saved copy of its damaged packet may still be there.
  void JudgeGone(const LedgerItem& item) {
    size_t packets = 0;
    for (const LoggedToss* toss : item.tosses) packets = std::max(packets, toss->packets.size());
    for (size_t place = 0; place < packets; ++place) {
      const std::vector<PacketToss> tosses = TossesOf(item.tosses, place);
      if (!JudgeSaved(tosses)) Judge().TellUnknown(tosses, 0);
    }
  }

  bool JudgeSaved(const std::vector<PacketToss>& tosses) {
    const LoggedPacket& last = *tosses.back().packet;
    if (last.saved.empty() || history_.PacketSavedAt(last.saved) != &last) return false;
    ByteBuffer content;
    const std::string path = std::string(site_.config.Inbound) + "/badmsgs/" + NamePart(last.saved);
    if (!ReadSiteFile(path, &content)) return false;
    return EachSourcePacket(content, site_.conferences, [&](const SourcePacket& saved) {
      SourcePacket packet = saved;
      packet.entry = last.entry;
      Judge().JudgePacket(packet, tosses, false);
    });
  }

  // Whether a file of the same name is the one that was tossed: mail may be sent twice, or be put back by hand.
  bool IsTheSame(const LedgerItem& item, const ByteBuffer& content) {
    size_t place = 0;
    size_t proofs = 0;
    bool same = true;
    const std::vector<LoggedPacket>& packets = item.tosses.back()->packets;
    (void)EachSourcePacket(content, site_.conferences, [&](const SourcePacket& packet) {
      same = same && place < packets.size() && CouldBeOf(packet, packets[place], &base_, &proofs);
      ++place;
    });
    return same && place == packets.size() && proofs != 0;
  }

  void JudgeItem(const LedgerItem& item) {
    file_ = item.file;
    told_file_ = false;
    ByteBuffer content;
    if (item.file.path.empty()) {
      const bool same = !item.other.empty() && ReadSiteFile(item.other, &content) && IsTheSame(item, content);
      return same ? JudgeContent(item, content) : JudgeGone(item);
    }
    if (!ReadSiteFile(item.file.path, &content)) {
      if (LookAtFile(item.file.path).exists) throw NotAnswered(ShownName(item.file.path) + " cannot be read");
      // A run has moved it meanwhile.
      if (!ReadSiteFile(files_.ProcessedPath(item.file.name), &content)) return JudgeGone(item);
    }
    const bool is_mail = LooksLikeZip(content.data, content.size) || LooksLikePacket(content.data, content.size);
    if (is_mail && question_.msgid.empty()) TellFile();
    is_mail ? JudgeContent(item, content) : JudgeGone(item);
  }

  void AskTheBase() {
    file_ = {};
    file_.state = FileState::kGone;
    told_file_ = false;
    for (size_t i = 0; i < site_.conferences.count; ++i) {
      LedgerMessage message;
      message.conference = site_.conferences.entries[i].Number;
      const int32_t number = base_.NumberOf(*message.conference, question_.msgid);
      if (number < 0) continue;
      if (number > 0) message.message_number = number;
      message.msgid = question_.msgid;
      message.fate = Fate::kUnknown;
      message.reason = "no inbound file that is there holds it, and the SIG file alone names it";
      Tell(message);
    }
  }

  const KitSite& site_;
  const LedgerQuestion& question_;
  const LedgerReader& reader_;
  InboundFiles files_;
  TossHistory history_;
  LedgerBase base_;
  std::vector<LedgerItem> items_;
  LedgerSums sums_;
  LedgerFile file_;         // the current one
  bool told_file_ = false;  // the reader has been called with it
  size_t bytes_ = 0;
  size_t all_bytes_ = 0;
};

// Whatever a run or a caller does to the base or the log changes this.
std::string TimesOf(const KitSite& site, const std::string& log) {
  std::string times = std::to_string(LookAtFile(log).status.size);
  for (size_t i = 0; i < site.conferences.count; ++i)
    times += "," + FileTimes(site, site.conferences.entries[i].Number);
  return times;
}

}  // namespace

size_t LedgerSums::In() const { return std::accumulate(of.begin(), of.end(), size_t{0}); }

const char* NameOf(Fate fate) {
  switch (fate) {
    case Fate::kStored: return "stored";
    case Fate::kRemoved: return "removed";
    case Fate::kDuplicate: return "duplicate";
    case Fate::kDropped: return "dropped";
    case Fate::kDamaged: return "damaged";
    case Fate::kWaiting: return "waiting";
    case Fate::kUnknown: return "unknown";
    case Fate::kUnaccounted: break;
  }
  return "unaccounted";
}

const char* NameOf(FileState state) {
  switch (state) {
    case FileState::kProcessed: return "processed";
    case FileState::kBad: return "bad";
    case FileState::kRetained: return "retained";
    case FileState::kWaiting: return "waiting";
    case FileState::kGone: break;
  }
  return "gone";
}

LedgerSums MakeLedger(const KitSite& site, const LedgerQuestion& question, const LedgerReader& reader) {
  const std::string before = TimesOf(site, question.log);
  LedgerSums sums = Making(site, question, reader).Make();
  sums.unsettled = LookAtSite(site.config).Unsettled();
  if (sums.unsettled.empty() && TimesOf(site, question.log) != before) {
    sums.unsettled = "files change while they are read";
  }
  return sums;
}
