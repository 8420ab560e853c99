#include <fmt/format.h>

#include <algorithm>

#include "ftn/packet.h"
#include "kit/doctor.h"
#include "kit/kit_output.h"
#include "kit/packet_walk.h"
#include "kit/site_files.h"

namespace {

constexpr std::string_view kBlanks = " \t\r";

void ExamineLine(std::string_view line, Attentions* found) {
  const size_t start = line.find_first_not_of(kBlanks);
  if (start == std::string_view::npos || line[start] == ';') return;
  line = line.substr(start, line.find_last_not_of(kBlanks) - start + 1);
  const size_t blank = line.find_first_of(kBlanks);
  if (blank == std::string_view::npos) return;
  const std::string_view value = line.substr(line.find_first_not_of(kBlanks, blank));
  const char first = value.front();
  if (value.size() < 2 || (first != '"' && first != '\'') || value.back() != first) return;
  AddAttention("config-quotes",
               fmt::format("{} has quotes around its value, which belong to it: {}", ShownName(line.substr(0, blank)),
                           ShownName(value)),
               found);
}

bool IsSame(const FtnAddress& left, const FtnAddress& right) {
  return left.Zone == right.Zone && left.Net == right.Net && left.Node == right.Node && left.Point == right.Point;
}

// Returns the addresses of a packet; if it has no zone, ours.
struct PacketEnds {
  FtnAddress from;
  FtnAddress to;
};

PacketEnds EndsOf(const uint8_t* packet, const FtnAddress& our) {
  const PacketHeader header = UnpackPacketHeader(packet);
  const auto zone = [&our](int32_t newer, int32_t older) { return newer != 0 ? newer : older != 0 ? older : our.Zone; };
  return {{zone(header.origZone, header.qOrigZone), header.origNet, header.origNode, header.origPoint},
          {zone(header.destZone, header.qDestZone), header.destNet, header.destNode, header.destPoint}};
}

// Returns the first file of a directory with a packet for which `judge` returns true; empty for none.
template <class Judge>
std::string FindFile(const std::string& directory, const FtnAddress& our, Judge judge) {
  ByteBuffer content;
  for (const std::string& name : ListNames(directory)) {
    if (!ReadSiteFile(std::string(directory).append("/").append(name), &content)) continue;
    bool is_it = false;
    EachPacket(content, [&](const uint8_t* packet, size_t) { is_it = is_it || judge(EndsOf(packet, our)); });
    if (is_it) return ShownName(name);
  }
  return {};
}

}  // namespace

bool ExamineConfigText(const std::string& path, Attentions* found) {
  ByteBuffer content;
  if (!ReadSiteFile(path, &content) || content.size == 0) return true;
  const std::string_view text(reinterpret_cast<const char*>(content.data), content.size);
  const auto starts_with = [text](std::string_view mark) { return text.substr(0, mark.size()) == mark; };
  const bool wide = starts_with("\xFF\xFE") || starts_with("\xFE\xFF");
  if (wide || starts_with("\xEF\xBB\xBF")) {
    AddAttention("config-bom", ShownName(path) + " begins with a byte order mark, which spoils its first line", found);
  }
  if (wide) return false;
  for (size_t at = 0; at < text.size();) {
    const size_t end = std::min(text.find('\n', at), text.size());
    ExamineLine(text.substr(at, end - at), found);
    at = end + 1;
  }
  return true;
}

void ExamineAddresses(const TosserConfig& config, Attentions* found) {
  if (config.HaveAddress == 0 || config.HaveHub == 0) return;
  const FtnAddress& our = config.OurAddress;
  const FtnAddress& hub = config.HubAddress;
  if (IsSame(our, hub)) return AddAttention("address-is-hub", "ADDRESS and HUB are one address", found);
  if (config.HaveOutDir != 0) {
    const auto is_for_us = [&](const PacketEnds& ends) { return IsSame(ends.to, our); };
    const std::string file = FindFile(config.OutDir, our, is_for_us);
    if (!file.empty()) {
      const std::string text = "OUTDIR holds mail for us: " + file + "; INBOUND and OUTDIR look swapped";
      return AddAttention("swapped-directories", text, found);
    }
  }
  if (config.HaveInbound == 0) return;
  const auto is_from_us = [&](const PacketEnds& ends) { return IsSame(ends.from, our) && IsSame(ends.to, hub); };
  const std::string file = FindFile(config.Inbound, our, is_from_us);
  if (file.empty()) return;
  AddAttention("address-swapped", "by " + file + " in INBOUND, ADDRESS and HUB are swapped", found);
}
