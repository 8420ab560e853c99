#include "scan/packet_file.h"

#include <cstring>

#include "base/whole_file.h"
#include "ftn/packet.h"
#include "platform/os.h"

namespace {

int MakeHeader(const TosserConfig& config, uint8_t (&bytes)[kPacketHeaderSize]) {
  OsCalendar now;
  if (OsLocalTime(OsNow(), &now) != 0) return -1;
  const FtnAddress& our = config.OurAddress;
  const FtnAddress& hub = config.HubAddress;
  PacketHeader header;
  header.origNode = static_cast<uint16_t>(our.Node);
  header.destNode = static_cast<uint16_t>(hub.Node);
  header.year = static_cast<uint16_t>(now.year);
  header.month = static_cast<uint16_t>(now.month);
  header.day = static_cast<uint16_t>(now.day);
  header.hour = static_cast<uint16_t>(now.hour);
  header.minute = static_cast<uint16_t>(now.minute);
  header.second = static_cast<uint16_t>(now.second);
  header.packetType = kPacketType2;
  header.origNet = static_cast<uint16_t>(our.Net);
  header.destNet = static_cast<uint16_t>(hub.Net);
  memcpy(header.password, config.PacketPassword, strnlen(config.PacketPassword, kPacketPasswordSize));
  header.qOrigZone = header.origZone = static_cast<uint16_t>(our.Zone);
  header.qDestZone = header.destZone = static_cast<uint16_t>(hub.Zone);
  header.capWord = 1;  // we understand type 2+
  header.origPoint = static_cast<uint16_t>(our.Point);
  header.destPoint = static_cast<uint16_t>(hub.Point);
  PackPacketHeader(header, bytes);
  return 0;
}

}  // namespace

int WritePacketFile(const OsPlace& place, const TosserConfig& config, const ByteBuffer& messages) {
  constexpr uint8_t kClosingWord[kPacketWordSize] = {};
  uint8_t header[kPacketHeaderSize];
  if (MakeHeader(config, header) != 0) {
    (void)OsRemove(place);  // what an earlier run may have left there
    return -1;
  }
  return WriteWholeFile(place,
                        {{header, sizeof header}, {messages.data, messages.size}, {kClosingWord, sizeof kClosingWord}});
}
