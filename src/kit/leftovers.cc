#include "kit/leftovers.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <set>

#include "app/site_paths.h"
#include "kit/packet_walk.h"
#include "kit/sha256.h"
#include "kit/site_files.h"

namespace {

void Add(std::vector<Leftover>* found, const char* code, std::string path, std::string text) {
  found->push_back({code, std::move(path), std::move(text)});
}

// A copy that is equal to the beginning of its source.
bool IsBegunCopy(const std::string& copy, const std::string& source) {
  ByteBuffer begun;
  ByteBuffer whole;
  return ReadSiteFile(copy, &begun) && ReadSiteFile(source, &whole) && begun.size < whole.size &&
         (begun.size == 0 || memcmp(begun.data, whole.data, begun.size) == 0);
}

void FindHalfMoved(const TosserConfig& config, const InboundMail& inbound, std::vector<Leftover>* found) {
  const std::string processed = ProcessedDirectory(config);
  if (processed.empty()) return;
  for (const InboundSource& source : inbound.sources) {
    const std::string copy = processed + "/" + source.name;
    const FoundFile file = LookAtFile(copy);
    if (!file.exists || file.status.size >= source.size) continue;
    if (IsBegunCopy(copy, std::string(config.Inbound) + "/" + source.name)) {
      Add(found, "half-copy", copy, "a copy of an inbound file was begun and not finished");
    }
  }
}

// The saved packets that may be incomplete, by size in bytes and hash.
using SavedPackets = std::map<size_t, std::multimap<std::string, std::string>>;

SavedPackets ReadSavedPackets(const std::string& directory) {
  SavedPackets saved;
  ByteBuffer content;
  for (const std::string& name : ListNames(directory)) {
    std::string path = directory;
    path.append("/").append(name);
    if (name.rfind("BAD_", 0) != 0 || !ReadSiteFile(path, &content)) continue;
    Sha256 hash;
    hash.Add(content.data, content.size);
    saved[content.size].emplace(hash.Value(), path);
  }
  return saved;
}

// Records which saved packets are a beginning of this one.
void CompareWith(const SavedPackets& saved, const uint8_t* packet, size_t size, std::set<std::string>* halves) {
  Sha256 hash;
  size_t hashed = 0;
  for (const auto& [saved_size, files] : saved) {
    if (saved_size >= size) break;
    hash.Add(packet + hashed, saved_size - hashed);
    hashed = saved_size;
    const auto [from, to] = files.equal_range(hash.Value());
    for (auto file = from; file != to; ++file) halves->insert(file->second);
  }
}

void FindHalfSaved(const TosserConfig& config, const InboundMail& inbound, std::vector<Leftover>* found) {
  Path bad;
  FormatBadDirectory(config, &bad);
  const std::string directory = bad.text;
  const SavedPackets saved = ReadSavedPackets(directory);
  if (saved.empty()) return;
  std::set<std::string> halves;
  const auto empty = saved.find(0);
  if (empty != saved.end()) {
    for (const auto& [hash, path] : empty->second) halves.insert(path);
  }
  ByteBuffer content;
  for (const InboundSource& source : inbound.sources) {
    if (!ReadSiteFile(std::string(config.Inbound) + "/" + source.name, &content)) continue;
    EachPacket(content, [&](const uint8_t* packet, size_t size) { CompareWith(saved, packet, size, &halves); });
  }
  for (const std::string& path : halves) {
    Add(found, "half-saved", path, "saving a bad packet was begun and not finished");
  }
}

}  // namespace

std::string ProcessedDirectory(const TosserConfig& config) {
  if (config.KeepProcessed == 0 || config.HaveInbound == 0) return {};
  Path directory;
  FormatProcessedDirectory(config, &directory);
  return directory.text;
}

std::vector<Leftover> FindLeftovers(const TosserConfig& config, const InboundMail& inbound,
                                    const OutboundMail& outbound) {
  std::vector<Leftover> found;
  BasePath packet;
  if (FormatOutPacketPath(config.MsgDir, &packet) == 0 && LookAtFile(packet.text).exists) {
    Add(&found, "outbound-packet", packet.text, "a packet of a scan that did not end");
  }
  for (const std::string& path : outbound.temporaries) {
    Add(&found, "bundle-temporary", path, "a bundle that was begun and not published");
  }
  FindHalfMoved(config, inbound, &found);
  if (config.HaveInbound != 0) FindHalfSaved(config, inbound, &found);
  return found;
}
