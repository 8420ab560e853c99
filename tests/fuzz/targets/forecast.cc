// The toss does with a packet or bundle what cvkit has predicted; nothing that cvkit shows can control a terminal; and
// what it salvages from a damaged file is sound, and is written only into the directory that was asked for.
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "base/fixed_text.h"
#include "ftn/packet_reader.h"
#include "ftn/zip_reader.h"
#include "fuzz/model/packet_site.h"
#include "fuzz/support/input.h"
#include "fuzz/support/memory_files.h"
#include "fuzz/support/rule.h"
#include "kit/kit_site.h"
#include "kit/output_file.h"
#include "kit/packet_render.h"
#include "kit/packet_salvage.h"
#include "kit/toss_forecast.h"
#include "kit/zip_salvage.h"
#include "toss/bundle_toss.h"
#include "toss/packet_toss.h"

namespace {

constexpr uint8_t kNetmailAndCatchAll = 3;

FileFate FateOf(TossResult result) {
  switch (result) {
    case PacketDone:
    case PacketCorrupt: return kFateProcessed;
    case PacketRetain:
    case PacketStopped: return kFateRetained;
    case NotAPacket: return kFateLeft;
  }
  return kFateIgnored;
}

std::string Stored(int conference, int number) { return std::to_string(conference) + " #" + std::to_string(number); }

std::vector<std::string> StoredBy(const FileFacts& file) {
  std::vector<std::string> stored;
  for (const PacketFacts& packet : file.packets) {
    for (const MessageFacts& message : packet.messages) {
      if (message.verdict != kVerdictStored && message.verdict != kVerdictCatchAll) continue;
      stored.push_back(Stored(message.conference.value_or(-1), message.message_number.value_or(-1)));
    }
  }
  return stored;
}

std::vector<std::string> StoredBy(const std::vector<std::string>& log) {
  std::vector<std::string> stored;
  for (const std::string& line : log) {
    int conference = 0;
    int number = 0;
    if (std::sscanf(line.c_str(), "  -> wrote conf %d msg #%d ", &conference, &number) == 2) {
      stored.push_back(Stored(conference, number));
    }
  }
  return stored;
}

void CheckShown(const FileFacts& file) {
  for (const char c : FileText(file)) {
    Must(c == '\n' || (static_cast<unsigned char>(c) >= ' ' && c != '\x7F'), "no control byte is shown");
  }
  Must(Json::accept(FileJson(file)), "the JSON can be read");
}

void CheckToss(const TossSite& site, const std::string& bytes, const FileFacts& file, const MemoryFiles& system) {
  const ExactCopy copy(bytes);
  const bool bundle = LooksLikeZip(copy.Data(), bytes.size());
  if (!bundle && !LooksLikePacket(copy.Data(), bytes.size())) {
    Must(file.kind == kFileOther && file.fate == kFateIgnored, "what is no mail is ignored");
    return;
  }
  Must(file.kind == (bundle ? kFileBundle : kFilePacket), "both tests agree on what a file is");
  const TossResult result =
      bundle ? TossZipBundle(site, copy.Data(), bytes.size()) : TossPacket(site, copy.Data(), bytes.size());
  MustEqual(file.fate, FateOf(result), "the file goes where it was said to go");
  const std::vector<std::string> said = StoredBy(file);
  const std::vector<std::string> done = StoredBy(system.log);
  for (size_t i = 0; i < said.size() && i < done.size(); ++i) {
    MustEqual(done[i], said[i], "a message is stored where it was said to be stored");
  }
  MustEqual(static_cast<long long>(done.size()), static_cast<long long>(said.size()), "all that is stored was said");
}

void CheckSalvage(const std::string& bytes) {
  const ExactCopy copy(bytes);
  if (LooksLikePacket(copy.Data(), bytes.size())) {
    std::optional<PacketFault> fault;
    size_t whole = 0;
    for (const FoundMessage& found : FindMessages(copy.Data(), bytes.size(), &fault)) {
      whole += found.whole ? 1 : 0;
      Must(found.view.offset <= bytes.size() && found.size <= bytes.size() - found.view.offset,
           "a message lies within its packet");
    }
    Must(!fault || fault->offset <= bytes.size(), "a fault lies within its packet");
    const std::string kept = PacketWithout(copy.Data(), bytes.size(), {});
    const auto* const packet = reinterpret_cast<const uint8_t*>(kept.data());
    Must(LooksLikePacket(packet, kept.size()), "what is kept is a packet");
    std::optional<PacketFault> left;
    MustEqual(static_cast<long long>(FindMessages(packet, kept.size(), &left).size()), static_cast<long long>(whole),
              "every whole message is kept");
    Must(!left, "what is kept is sound");
  }
  (void)UnpackBundle(copy.Data(), bytes.size(), [](const UnpackedEntry& entry) {
    const std::string name = SafeName(entry.name);
    Must(!name.empty() && name != "." && name != "..", "an entry has a name of its own");
    Must(name.find_first_of("/\\:") == std::string::npos, "no name leads elsewhere");
  });
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  ModelSite model = MakeSite(input.TakeByte() & kNetmailAndCatchAll);
  model.conferences[2] = {};  // no run starts with a base that is unsound
  model.conferences[2].number = 3;
  const std::string bytes = input.TakeRest();

  MemoryFiles system;
  system.files = InMessageDirectory(model);
  KitSite kit;
  CopyCut(kit.config.MsgDir, "msg");
  kit.conferences = TableOf(model);
  FileFacts file;
  {
    const ExactCopy copy(bytes);
    file = TossForecast(kit, {kAllMessages, kNoMessage}).JudgeFile("in/mail", copy.Data(), bytes.size());
  }
  Must(system.files == InMessageDirectory(model), "a forecast changes nothing");
  CheckShown(file);

  RunLock no_lock;
  BadPackets bad_packets = {{"in/badmsgs", kOsTrustPath}};
  ConferenceSet touched;
  CheckToss({"msg", &no_lock, &bad_packets, &kit.conferences, &touched}, bytes, file, system);
  CheckSalvage(bytes);
  return 0;
}
