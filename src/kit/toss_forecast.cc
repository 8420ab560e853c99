#include "kit/toss_forecast.h"

#include <fmt/format.h>

#include <algorithm>

#include "base/whole_file.h"
#include "bbs/append_judge.h"
#include "bbs/base_files.h"
#include "bbs/file_restore.h"
#include "bbs/records.h"
#include "bbs/sig_file.h"
#include "ftn/packet_reader.h"
#include "ftn/zip_reader.h"
#include "kit/kit_output.h"
#include "kit/packet_salvage.h"
#include "toss/inbound_text.h"
#include "toss/route_judge.h"

namespace {

const char* NameOf(BaseFault fault) {
  switch (fault) {
    case kBaseSound: break;
    case kBasePathTooLong: return "its path is too long";
    case kBaseNotInspected: return "its files cannot be inspected";
    case kBaseNotAligned: return "a file is not whole records";
    case kBaseWithoutPtr: return "IDX or DAT records without headers";
    case kBaseIdxTooLong: return "more IDX records than headers";
    case kBaseDatTooLong: return "more DAT records than headers can address";
    case kBaseNotOpened:
    case kBaseReadShort:
    case kBaseNotClosed: return "the headers cannot be read";
    case kBaseNoRecords: return "a live header without text";
    case kBasePastDat: return "a live header whose text lies beyond the DAT file";
  }
  return "";
}

// Returns what keeps every run from starting.
std::string FindTrouble(const KitSite& site) {
  if (!site.table_trouble.empty()) return site.table_trouble;
  for (size_t i = 0; i < site.conferences.count; ++i) {
    const ConferenceEntry& entry = site.conferences.entries[i];
    if (!IsNetworked(entry)) continue;
    const MessageBaseFiles files = InspectMessageBase(site.Base(), entry.Number);
    PtrScan scan;
    if (JudgeBaseSizes(files) == kBaseSound) scan = ScanPtrFile(files.ptr, kNoParent, files.found.dat_count);
    const BaseFault fault = JudgeMessageBase(files, scan);
    if (fault != kBaseSound) {
      return fmt::format("the message base of conference {} is unsound ({})", entry.Number, NameOf(fault));
    }
  }
  return "";
}

std::string NameOf(const ParsedText& parsed) {
  switch (parsed.fault) {
    case kTextSound: break;
    case kTextNoMemory: return "no memory for its text";
    case kTextBadArea: return "its AREA tag is empty, malformed or too long";
    case kTextLongKludge:
      return fmt::format("its {} is {} bytes long, {} are allowed", parsed.kludge, parsed.size, parsed.limit);
    case kTextLongLine: return fmt::format("a line of {} bytes, {} are allowed", parsed.size, parsed.limit);
  }
  return "";
}

std::string NameOf(ZipContent content, const ZipLocalHeader& header) {
  switch (content) {
    case kZipInflate:
    case kZipAsItLies: break;
    case kZipDescriptor: return "its sizes follow the data, which the toss does not read";
    case kZipTooLarge:
      return fmt::format("it expands to {} bytes, {} are allowed", header.uncompressed_size, kLargestZipEntry);
    case kZipUnequalSizes: return "it is stored and has two sizes";
    case kZipUnknownMethod: return fmt::format("unsupported compression method {}", header.method);
  }
  return "";
}

// The messages after the one at which the toss stops are not processed in this run.
void RefuseUnreached(int holder, MessageFacts* facts) {
  facts->verdict = kVerdictRefused;
  facts->reason = fmt::format("not reached: message {} holds up the rest of its packet", holder);
}

}  // namespace

TossForecast::TossForecast(const KitSite& site, const KeptBytes& kept)
    : site_(site), kept_(kept), trouble_(FindTrouble(site)) {}

ConferenceState& TossForecast::StateOf(int32_t conference) {
  const auto [found, is_new] = states_.try_emplace(conference);
  ConferenceState& state = found->second;
  if (!is_new) return state;
  state.times = FileTimes(site_, conference);
  const MessageBaseFiles files = InspectMessageBase(site_.Base(), conference);
  state.dat_count = files.found.dat_count;
  ByteBuffer bytes;
  (void)ReadWholeFile(files.ptr, &bytes);
  for (size_t at = 0; at + kPtrRecordSize <= bytes.size; at += kPtrRecordSize) {
    const PtrVitals vitals = UnpackPtrVitals(bytes.data + at);
    state.highest = std::max(state.highest, vitals.MsgNumber);
    if (!vitals.Deleted) (void)state.live.Insert(vitals.MsgNumber);
  }
  BasePath path;
  FileExtent sig;
  state.sig_usable = FormatSigPath(site_.Base(), conference, &path) == 0 && InspectFile(path, &sig) == 0;
  if (sig.exists && ReadWholeFile(path, &bytes) == 0) {
    state.sig.assign(reinterpret_cast<const char*>(bytes.data), bytes.size);
  }
  return state;
}

bool TossForecast::HasChanged() const {
  return std::any_of(states_.begin(), states_.end(),
                     [this](const auto& entry) { return entry.second.times != FileTimes(site_, entry.first); });
}

void TossForecast::Store(const InboundMessage& message, ConferenceState* state, MessageFacts* facts) {
  const auto refuse = [facts](const char* reason) {
    facts->verdict = kVerdictRefused;
    facts->reason = reason;
  };
  const AppendJudgement judgement = JudgeAppend(state->dat_count, state->highest, message.body.size);
  switch (judgement.fault) {
    case kAppendFits: break;
    case kAppendTextTooLarge: return refuse("its text is too large");
    case kAppendPastDatRange:
      return refuse("the conference is full: its DAT file has no room that headers can address");
    case kAppendNumbersUsedUp: return refuse("the conference has used up its message numbers");
  }
  if (message.msgid[0] != '\0' && !state->sig_usable) return refuse("the SIG file cannot be inspected");
  const int32_t number = NextNumber(state->highest);
  state->dat_count += static_cast<int64_t>(judgement.records);
  state->highest = number;
  (void)state->live.Insert(number);
  if (message.msgid[0] != '\0') state->sig += fmt::format("{}\t{}\n", message.msgid, number);
  facts->message_number = number;
}

void TossForecast::JudgeMessage(const InboundMessage& message, MessageFacts* facts) {
  const Destination destination = ChooseConference(site_.conferences, message);
  facts->verdict = kVerdictDropped;
  switch (destination.kind) {
    case kToNetmail:
    case kToArea: facts->verdict = kVerdictStored; break;
    case kToCatchAll:
      facts->verdict = kVerdictCatchAll;
      facts->reason = "no conference carries its area";
      break;
    case kNoNetmail: facts->reason = "it is netmail, and no conference takes netmail"; return;
    case kNoCatchAll: facts->reason = "no conference carries its area, and there is no catch-all"; return;
  }
  facts->conference = destination.conference;
  ConferenceState& state = StateOf(destination.conference);

  SigScan sig;
  SigWanted own(message.msgid);
  SigWanted answered(message.reply);
  (void)SearchSigBlock(state.sig.data(), state.sig.data() + state.sig.size(), &own, &answered, &sig);
  if (sig.has_msgid) {
    facts->verdict = kVerdictDuplicate;
    facts->reason = "its MSGID is known";
    if (sig.number > 0) facts->message_number = sig.number;
    return;
  }
  Store(message, &state, facts);
  if (facts->verdict == kVerdictRefused) return;
  const Parent parent = JudgeParent(message, sig);
  if (IsThreaded(*facts->message_number, parent.number, state.live.Contains(parent.number))) {
    facts->parent = parent.number;
  } else if (parent.kind == kParentNotFound && facts->reason.empty()) {
    facts->reason = "what it replies to is not known here";
  } else if (parent.kind == kParentFound && facts->reason.empty()) {
    facts->reason = fmt::format("message {}, its parent, is gone", parent.number);
  }
}

TossForecast::Result TossForecast::JudgePacket(const uint8_t* bytes, size_t size, PacketFacts* packet) {
  if (!LooksLikePacket(bytes, size)) {
    packet->fault = PacketFault{0, "it is no type-2 packet with a believable date"};
    return kNotAPacket;
  }
  packet->header = UnpackPacketHeader(bytes);
  int holder = 0;  // the message whose text ends the toss of this packet
  bool retain = false;
  InboundMessage message;
  for (const FoundMessage& found : FindMessages(bytes, size, &packet->fault)) {
    MessageFacts facts;
    facts.number = static_cast<int>(packet->messages.size()) + 1;
    DescribeMessage(found, &facts);
    const ParsedText parsed = TakeMessage(found, &message, &facts);
    if (!trouble_.empty()) {
      facts.verdict = kVerdictRefused;
      facts.reason = "no run would start: " + trouble_;
      retain = true;
    } else if (holder != 0) {
      RefuseUnreached(holder, &facts);
    } else if (!found.reached) {
      facts.verdict = kVerdictDamaged;
      facts.reason = found.whole ? "it lies behind the damage, where the toss does not look" : packet->fault->reason;
    } else if (parsed.fault != kTextSound) {
      facts.verdict = kVerdictRefused;
      facts.reason = NameOf(parsed);
      holder = facts.number;
    } else {
      JudgeMessage(message, &facts);
      retain = retain || facts.verdict == kVerdictRefused;
    }
    if (kept_.text_of == kAllMessages || kept_.text_of == facts.number) TakeBody(found, parsed, message, &facts);
    if (kept_.raw_of == facts.number) facts.raw.assign(reinterpret_cast<const char*>(bytes) + facts.offset, facts.size);
    packet->messages.push_back(std::move(facts));
  }
  return retain || holder != 0 ? kRetain : kDone;
}

FileFate TossForecast::JudgeBundle(const uint8_t* bytes, size_t size, FileFacts* file) {
  if (size < kZipLocalHeaderSize) {
    file->reason = "it is too short for a ZIP file";
    return kFateLeft;
  }
  bool any_handled = false;
  bool any_failed = false;
  ZipReader reader = {bytes, size};
  ZipEntryView entry;
  ZipStep step = ReadZipEntry(&reader, &entry);
  for (; step == kZipEntry; step = ReadZipEntry(&reader, &entry)) {
    PacketFacts& packet = file->packets.emplace_back();
    packet.entry = entry.name;
    Result result = kRetain;
    ByteBuffer content;
    const ZipContent kind = JudgeZipEntry(entry.header);
    if (kind == kZipAsItLies) {
      result = JudgePacket(entry.data, entry.header.compressed_size, &packet);
    } else if (kind != kZipInflate) {
      packet.fault = PacketFault{entry.offset, NameOf(kind, entry.header)};
    } else if (InflateZipEntry(entry, &content).result != kInflated) {
      packet.fault = PacketFault{entry.offset, "it cannot be inflated to what its header says"};
    } else {
      result = JudgePacket(content.data, content.size, &packet);
    }
    (result == kDone ? any_handled : any_failed) = true;
  }
  if (step != kZipEnd) file->reason = "the file ends within an entry";
  if (step == kZipEnd && !any_handled && !any_failed) file->reason = "it holds no entry";
  return step == kZipEnd && any_handled && !any_failed ? kFateProcessed : kFateRetained;
}

FileFacts TossForecast::JudgeFile(const std::string& path, const uint8_t* bytes, size_t size) {
  FileFacts file;
  file.path = path;
  if (LooksLikeZip(bytes, size)) {
    file.kind = kFileBundle;
    file.fate = JudgeBundle(bytes, size, &file);
  } else if (LooksLikePacket(bytes, size)) {
    file.kind = kFilePacket;
    file.fate = JudgePacket(bytes, size, &file.packets.emplace_back()) == kRetain ? kFateRetained : kFateProcessed;
  } else {
    file.reason = "it is neither a ZIP bundle nor a type-2 packet";
  }
  if (!trouble_.empty() && file.kind != kFileOther) {
    file.fate = kFateLeft;
    file.reason = "no run would start: " + trouble_;
  }
  return file;
}
