// A packet tossed into a small message base: afterwards every byte of every file follows from the packet's messages,
// and a message that cannot be stored has changed nothing.
#include <map>
#include <string>
#include <vector>

#include "bbs/preflight.h"
#include "ftn/packet_reader.h"
#include "fuzz/model/packet_model.h"
#include "fuzz/model/packet_site.h"
#include "fuzz/model/records_model.h"
#include "fuzz/model/toss_model.h"
#include "fuzz/support/input.h"
#include "fuzz/support/memory_files.h"
#include "fuzz/support/rule.h"
#include "toss/packet_toss.h"

namespace {

constexpr char kBadPacket[] = "in/badmsgs/BAD_1763166684.PKT";

TossResult Expect(const std::string& packet, ModelSite* site, std::map<std::string, std::string>* files) {
  const ModelPacket model = ReadPacket(packet);
  bool failed = model.end == kModelRefused;
  for (const ModelMessage& message : model.messages) failed |= Route(message, site) == kModelFailed;
  *files = InMessageDirectory(*site);
  if (model.end == kModelFault) (*files)[kBadPacket] = packet;
  if (model.end == kModelNoPacket) return NotAPacket;
  if (failed) return PacketRetain;
  return model.end == kModelFault ? PacketCorrupt : PacketDone;
}

void CheckFiles(const std::map<std::string, std::string>& files, const std::map<std::string, std::string>& expected) {
  for (const auto& [path, content] : expected) {
    Must(files.count(path) == 1, ("there is a file " + path).c_str());
    MustEqual(files.at(path), content, ("every byte is as expected in " + path).c_str());
  }
  MustEqual(static_cast<long long>(files.size()), static_cast<long long>(expected.size()), "there is no other file");
}

// The lines about messages, in order: each begins in one of these ways.
void CheckLog(const std::vector<std::string>& log, const std::vector<std::string>& expected) {
  size_t next = 0;
  for (const std::string& line : log) {
    if (line.rfind("  msg ", 0) != 0 && line.rfind("  -> wrote ", 0) != 0 && line.rfind("  parent ", 0) != 0) continue;
    Must(next < expected.size(), ("there is nothing to say: " + line).c_str());
    MustEqual(line, AsLogged(expected[next++]), "the log says what becomes of each message");
  }
  MustEqual(static_cast<long long>(next), static_cast<long long>(expected.size()), "the log says all of it");
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  ModelSite model = MakeSite(input.TakeByte());
  const std::string packet = input.TakeRest();
  const ExactCopy copy(packet);

  MemoryFiles system;
  system.files = InMessageDirectory(model);
  if (!model.conferences[0].unwritable.empty()) system.unwritable = "msg/CVMSG01." + model.conferences[0].unwritable;
  const ConferenceTable table = TableOf(model);
  RunLock no_lock;
  BadPackets bad_packets = {{"in/badmsgs", kOsTrustPath}};
  ConferenceSet touched;
  const TossSite site = {"msg", &no_lock, &bad_packets, &table, &touched};
  const TossResult result = TossPacket(site, copy.Data(), packet.size());

  std::map<std::string, std::string> expected;
  MustEqual(result, Expect(packet, &model, &expected), "the result tells what became of the messages");
  Must(LooksLikePacket(copy.Data(), packet.size()) == (result != NotAPacket), "both tests agree on what a packet is");
  CheckFiles(system.files, expected);
  CheckLog(system.log, model.log);
  for (const ModelConference& conference : model.conferences) {
    const bool sound = PreflightMessageBase("msg", conference.number, true, nullptr) == 0;
    Must(sound == (conference.tag != "BROKEN"), "a message base that was sound is sound afterwards");
  }
  return 0;
}
