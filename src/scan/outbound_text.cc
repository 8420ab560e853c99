#include "scan/outbound_text.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "app/run_log.h"
#include "app/version.h"
#include "bbs/sig_file.h"
#include "platform/os.h"

namespace {

constexpr char kBlankLines[] = "\r\r\r";  // the end of the body's last line, and two empty lines

// Returns the minutes by which local time is ahead of UTC. When the days of the month differ, midnight is between the
// two: one day more, or a jump back to the 1st, means that local time is in the next day.
long MinutesFromUtc(const OsCalendar& local, const OsCalendar& utc) {
  long minutes = (local.hour - utc.hour) * 60L + (local.minute - utc.minute);
  const int days = local.day - utc.day;
  if (days == 1 || days <= -2) {
    minutes += 1440;
  } else if (days == -1 || days >= 2) {
    minutes -= 1440;
  }
  return minutes;
}

void FormatTzutc(char (&tzutc)[16]) {
  const int64_t now = OsNow();
  OsCalendar utc;
  OsCalendar local;
  (void)OsUtcTime(now, &utc);
  (void)OsLocalTime(now, &local);
  const long minutes = MinutesFromUtc(local, utc);
  const long distance = labs(minutes);
  (void)snprintf(tzutc, sizeof tzutc, "%c%02ld%02ld", minutes >= 0 ? '+' : '-', distance / 60, distance % 60);
}

size_t FormatHeader(const LocalMessage& message, const OutboundKludges& kludges, char (&header)[512]) {
  int length = 0;
  if (message.header.NetMail) {
    length = snprintf(header, sizeof header, "\x01MSGID: %s\r\x01TZUTC: %s\r%s", kludges.msgid, kludges.tzutc,
                      kludges.reply);
  } else {
    length = snprintf(header, sizeof header, "AREA:%s\r\x01MSGID: %s\r\x01TZUTC: %s\r%s", message.conference->NetIDName,
                      kludges.msgid, kludges.tzutc, kludges.reply);
  }
  return static_cast<size_t>(length);
}

// SEEN-BY has always listed the hub's node as if it were in our own net, and other systems of this network expect that.
size_t FormatTrailer(const TosserConfig& config, bool netmail, char (&trailer)[256]) {
  const FtnAddress& our = config.OurAddress;
  int length = snprintf(trailer, sizeof trailer, "--- cvtoss32 %s\r * Origin: %s (%d:%d/%d)\r", kVersion,
                        config.SystemName, our.Zone, our.Net, our.Node);
  if (!netmail) {
    length +=
        snprintf(trailer + length, sizeof trailer - static_cast<size_t>(length), "SEEN-BY: %d/%d %d\r\x01PATH: %d/%d\r",
                 our.Net, our.Node, config.HubAddress.Node, our.Net, our.Node);
  }
  return static_cast<size_t>(length);
}

size_t TrimmedSize(const ByteBuffer& body) {
  size_t size = body.size;
  while (size > 0 && (body.data[size - 1] == '\r' || body.data[size - 1] == '\n')) --size;
  return size;
}

}  // namespace

OutboundKludges MakeKludges(const ScanSite& site, const LocalMessage& message, uint32_t serial) {
  OutboundKludges kludges;
  const FtnAddress& our = site.config->OurAddress;
  (void)snprintf(kludges.msgid, sizeof kludges.msgid, "%d:%d/%d %08x", our.Zone, our.Net, our.Node, serial);
  FormatTzutc(kludges.tzutc);
  const PtrRecord& header = message.header;
  char parent[kFoundMsgidSize];
  if (header.IsReply && header.ThreadRef != header.MsgNumber &&
      SigFindMsgid(site.base, message.conference->Number, header.ThreadRef, parent)) {
    (void)snprintf(kludges.reply, sizeof kludges.reply, "\x01REPLY: %s\r", parent);
  }
  return kludges;
}

int AssembleText(const TosserConfig& config, const LocalMessage& message, const OutboundKludges& kludges,
                 ByteBuffer* text) {
  char header[512];
  char trailer[256];
  const size_t header_size = FormatHeader(message, kludges, header);
  const size_t trailer_size = FormatTrailer(config, message.header.NetMail, trailer);
  const size_t body_size = TrimmedSize(message.body);
  text->size = 0;
  if (AppendBytes(text, header, header_size) != 0 || AppendBytes(text, message.body.data, body_size) != 0 ||
      AppendBytes(text, kBlankLines, strlen(kBlankLines)) != 0 || AppendBytes(text, trailer, trailer_size) != 0 ||
      AppendBytes(text, "", 1) != 0) {
    if (message.header.NetMail) {
      LogLine("ERROR: out of memory assembling outbound netmail");
    } else {
      LogLine("ERROR: out of memory assembling outbound echomail");
    }
    return -1;
  }
  text->size = strlen(reinterpret_cast<const char*>(text->data));
  return 0;
}
