#include "kit/rehearsal.h"

#include <algorithm>
#include <map>

#include "bbs/records.h"
#include "kit/inbound_mail.h"
#include "kit/kit_answer.h"
#include "kit/kit_format.h"
#include "kit/kit_output.h"
#include "kit/packet_walk.h"
#include "kit/progress.h"
#include "kit/site_files.h"
#include "kit/site_state.h"
#include "platform/os_companion.h"

namespace {

// Returns the content of a file; empty when there is none.
std::string ReadIfThere(const std::string& path) {
  ByteBuffer content;
  if (!ReadSiteFile(path, &content)) return {};
  return {reinterpret_cast<const char*>(content.data), content.size};
}

std::string PtrPath(const SiteCopy& copy, int32_t conference) {
  return fmt::format("{}/CVMSG{:02}.PTR", copy.Path(kMsgDirectory), conference);
}

// The contents of the copy before the run, as far as the comparison needs them.
struct Before {
  std::map<int32_t, UnsentHeaders> headers;  // by conference
  size_t areas = 0;                          // bytes of BADAREAS.LST
  std::string serial;
  std::vector<std::string> saved;    // names in badmsgs
  std::vector<std::string> bundles;  // names in OUTDIR
};

std::string BadDirectory(const SiteCopy& copy) { return copy.Path(kInboundDirectory) + "/badmsgs"; }

std::string FirstLine(const std::string& text) { return text.substr(0, text.find_first_of("\r\n")); }

std::vector<std::string> NamesOf(const std::string& directory) {
  return directory.empty() ? std::vector<std::string>() : ListNames(directory);
}

Before LookBefore(const KitSite& site, const SiteCopy& copy) {
  Before before;
  for (size_t i = 0; i < site.conferences.count; ++i) {
    const ConferenceEntry& entry = site.conferences.entries[i];
    if (IsNetworked(entry)) before.headers[entry.Number] = ReadUnsent(PtrPath(copy, entry.Number));
  }
  before.areas = ReadIfThere(copy.Path(kMsgDirectory) + "/BADAREAS.LST").size();
  before.serial = FirstLine(ReadIfThere(copy.Path(kMsgDirectory) + "/CVOUTBOUND.SEQ"));
  before.saved = NamesOf(BadDirectory(copy));
  before.bundles = NamesOf(copy.Path(kOutDirectory));
  return before;
}

template <size_t kSize>
std::string TextOf(const char (&text)[kSize]) {
  return {text, strnlen(text, kSize)};
}

RehearsedMessage MessageOf(const uint8_t* bytes) {
  const PtrRecord record = UnpackPtrRecord(bytes);
  RehearsedMessage message = {record.MsgNumber, TextOf(record.From), TextOf(record.To), TextOf(record.Subj), {}};
  if (record.IsReply) message.parent = record.ThreadRef;
  return message;
}

RehearsedConference CompareConference(const ConferenceEntry& entry, const UnsentHeaders& before, const SiteCopy& copy) {
  RehearsedConference conference;
  conference.number = entry.Number;
  conference.name = entry.ConfName;
  conference.before = before.headers;
  OsFile file;
  if (OsOpen(PtrPath(copy, entry.Number).c_str(), kOsRead, &file) != kOsOk) return conference;
  conference.after = OsSize(file) / static_cast<int64_t>(kPtrRecordSize);
  const auto read = [&file](int64_t ordinal, uint8_t* record) {
    return OsReadAt(file, ordinal * static_cast<int64_t>(kPtrRecordSize), record, kPtrRecordSize).bytes ==
           kPtrRecordSize;
  };
  uint8_t record[kPtrRecordSize];
  for (int64_t at = conference.before; at < conference.after && read(at, record); ++at) {
    conference.stored.push_back(MessageOf(record));
  }
  for (const int64_t at : before.unsent) {
    if (read(at, record) && record[ptr_layout::MsgSent.at] != 0) conference.sent.push_back(MessageOf(record));
  }
  return conference;
}

RehearsedFile CompareFile(const TosserConfig& config, const SiteCopy& copy, const std::string& name) {
  RehearsedFile file = {copy.SitePath(kInboundDirectory, name), "stays", {}};
  if (LookAtFile(copy.Path(kInboundDirectory) + "/" + name).exists) return file;
  file.fate = config.KeepProcessed != 0 ? "moved" : "deleted";
  if (config.KeepProcessed != 0) {
    const CopiedDirectory& given = copy.directories[kDoneDirectory];
    file.moved =
        (given.site.empty() ? copy.directories[kInboundDirectory].site + "/processed" : given.site) + "/" + name;
  }
  return file;
}

RehearsedExport ExportOf(const PackedMessageView& packed) {
  const auto text = [](const PackedText& from) { return std::string(from.text, from.size); };
  RehearsedExport message = {text(packed.fromUserName), text(packed.toUserName), text(packed.subject), {}, {}};
  const std::string lines = text(packed.text);
  for (size_t at = 0; at < lines.size();) {
    const size_t end = std::min(lines.find('\r', at), lines.size());
    const std::string line = lines.substr(at, end - at);
    at = end + 1;
    if (line.rfind("AREA:", 0) == 0 && !message.area) {
      message.area = line.substr(5);
    } else if (line.rfind("\x01MSGID: ", 0) == 0) {
      message.msgid = line.substr(8);
    } else if (line.empty() || line[0] != '\x01') {
      break;
    }
  }
  return message;
}

RehearsedBundle ReadBundle(const SiteCopy& copy, const std::string& name) {
  RehearsedBundle bundle;
  bundle.directory = copy.directories[kOutDirectory].site;
  ByteBuffer content;
  if (!ReadSiteFile(copy.Path(kOutDirectory) + "/" + name, &content)) return bundle;
  bundle.size = static_cast<int64_t>(content.size);
  EachPacket(content, [&](const uint8_t* packet, size_t size) {
    EachMessage(packet, size, [&](const PackedMessageView& packed) { bundle.messages.push_back(ExportOf(packed)); });
  });
  return bundle;
}

// Each line of BADAREAS.LST is a time and an area.
std::vector<std::string> AreasIn(const std::string& text) {
  constexpr size_t kTimeSize = sizeof "2026-11-22 03:00:00  " - 1;
  std::vector<std::string> areas;
  for (size_t at = 0; at < text.size();) {
    const size_t end = std::min(text.find('\n', at), text.size());
    std::string line = text.substr(at, end - at);
    at = end + 1;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.size() > kTimeSize) areas.push_back(line.substr(kTimeSize));
  }
  return areas;
}

void Compare(const KitSite& site, const SiteCopy& copy, const Before& before, Rehearsal* rehearsal) {
  for (const auto& [number, headers] : before.headers) {
    RehearsedConference conference = CompareConference(*site.Find(number), headers, copy);
    if (conference.stored.empty() && conference.sent.empty()) continue;
    rehearsal->conferences.push_back(std::move(conference));
  }
  for (const std::string& name : copy.inbound) {
    rehearsal->files.push_back(CompareFile(site.config, copy, name));
  }
  const auto is_new = [](const std::vector<std::string>& names, const std::string& name) {
    return std::find(names.begin(), names.end(), name) == names.end();
  };
  if (!copy.Path(kInboundDirectory).empty()) {
    for (const std::string& name : NamesOf(BadDirectory(copy))) {
      const FoundFile file = LookAtFile(BadDirectory(copy) + "/" + name);
      if (file.exists && is_new(before.saved, name)) rehearsal->saved.push_back(file.status.size);
    }
  }
  for (const std::string& name : NamesOf(copy.Path(kOutDirectory))) {
    const bool file = LookAtFile(copy.Path(kOutDirectory) + "/" + name).exists;
    if (file && is_new(before.bundles, name)) rehearsal->bundles.push_back(ReadBundle(copy, name));
  }
  const std::string areas = ReadIfThere(copy.Path(kMsgDirectory) + "/BADAREAS.LST");
  rehearsal->unknown_areas = AreasIn(areas.substr(std::min(before.areas, areas.size())));
  rehearsal->serial_before = before.serial;
  rehearsal->serial_after = FirstLine(ReadIfThere(copy.Path(kMsgDirectory) + "/CVOUTBOUND.SEQ"));
}

// Splits the program's output into lines.
struct Listener {
  const SiteCopy& copy;
  Progress progress;
  std::string pending = {};
  std::vector<std::string> lines = {};

  void Take(const char* text, size_t size) {
    pending.append(text, size);
    size_t at = 0;
    for (size_t end = 0; (end = pending.find('\n', at)) != std::string::npos; at = end + 1) {
      size_t length = end - at;
      if (length > 0 && pending[end - 1] == '\r') --length;
      lines.push_back(copy.TellLine(pending.substr(at, length)));
      if (lines.back().find("] Found: ") != std::string::npos) progress.Add(1);
    }
    pending.erase(0, at);
  }
};

void TakeOutput(void* listener, const char* text, size_t size) { static_cast<Listener*>(listener)->Take(text, size); }

void CheckWhoIsAtWork(const KitSite& site, Rehearsal* rehearsal) {
  const SiteState state = LookAtSite(site.config);
  if (state.IsUnsettled()) rehearsal->unsettled.push_back(state.Unsettled());
  if (state.holder == LockHolder::kAbandoned) {
    rehearsal->hindrance = "the lock of a run that did not end keeps runs away until it is 30 minutes old";
  }
}

}  // namespace

Rehearsal Rehearse(const KitSite& site, RehearsedRun mode, const std::string& program, const RehearsalPlace& place) {
  Rehearsal rehearsal;
  CheckWhoIsAtWork(site, &rehearsal);
  const SiteCopy copy = CopySite(site, mode, program, place);
  rehearsal.unsettled.insert(rehearsal.unsettled.end(), copy.unsettled.begin(), copy.unsettled.end());
  const Before before = LookBefore(site, copy);
  const char* const arguments[] = {copy.program.c_str(), mode == RehearsedRun::kToss ? "-toss" : "-scan", nullptr};
  Listener listener = {copy, Progress("running", copy.inbound.size())};
  rehearsal.status = OsRunProgram(arguments, copy.root.c_str(), TakeOutput, &listener);
  if (rehearsal.status < 0) throw NotAnswered(ShownName(copy.program) + " cannot be started");
  rehearsal.lines = std::move(listener.lines);
  Compare(site, copy, before, &rehearsal);
  return rehearsal;
}
