#include "scan/pack_message.h"

#include "app/run_log.h"
#include "app/shown_text.h"
#include "base/fixed_text.h"
#include "ftn/fts_date.h"
#include "platform/os.h"
#include "scan/msgid_serial.h"
#include "scan/outbound_packet.h"
#include "scan/outbound_text.h"

namespace {

// Echomail is addressed to the hub; of a netmail destination the packed message has fields for net and node only.
PackedMessageHead MakeHead(const TosserConfig& config, const LocalMessage& message) {
  const FtnAddress& destination = message.header.NetMail ? message.destination : config.HubAddress;
  PackedMessageHead head;
  head.messageType = kMessageFollows;
  head.origNode = static_cast<uint16_t>(config.OurAddress.Node);
  head.destNode = static_cast<uint16_t>(destination.Node);
  head.origNet = static_cast<uint16_t>(config.OurAddress.Net);
  head.destNet = static_cast<uint16_t>(destination.Net);
  head.attribute = message.header.Private ? kAttributePrivate : 0;
  return head;
}

int AppendToBoth(const TosserConfig& config, const BasePath& ptr, const LocalMessage& message, const char* msgid,
                 Outbound* outbound) {
  OsCalendar now;
  (void)OsLocalTime(OsNow(), &now);
  char date_time[kFtsDateSize];
  FormatFtsDate(now, date_time);

  PackedMessage packed;
  packed.head = MakeHead(config, message);
  packed.dateTime = date_time;
  packed.toUserName = message.header.NetMail ? message.recipient : message.header.To;
  packed.fromUserName = message.header.From;
  packed.subject = message.header.Subj;
  packed.text = reinterpret_cast<const char*>(outbound->text.data);

  ExportRecord record = {};
  record.ptr = ptr;
  record.ordinal = message.ordinal;
  record.conference = message.conference->Number;
  record.msg_number = message.header.MsgNumber;
  CopyCut(record.msgid, msgid);

  if (AppendPackedMessage(packed, &outbound->packet) == 0 && QueueExport(record, &outbound->queue) == 0) return 0;
  if (message.header.NetMail) {
    LogLine("ERROR: out of memory queuing outbound netmail");
  } else {
    LogLine("ERROR: out of memory queuing outbound echomail");
  }
  return -1;
}

void ReportQueued(const LocalMessage& message, const OutboundKludges& kludges) {
  const PtrRecord& header = message.header;
  const int32_t c = message.conference->Number;
  const char* const threaded = kludges.reply[0] != '\0' ? "  (threaded reply)" : "";
  const ShownText from(header.From);
  const ShownText subject(header.Subj);
  if (header.NetMail) {
    LogLine("  queued conf %d msg #%d (NETMAIL)  From='%s' To='%s'  Dest=%d:%d/%d  Subj='%s'  MSGID=%s%s", c,
            header.MsgNumber, from.text, ShownText(message.recipient).text, message.destination.Zone,
            message.destination.Net, message.destination.Node, subject.text, kludges.msgid, threaded);
  } else {
    LogLine("  queued conf %d msg #%d  From='%s' To='%s' Subj='%s'  MSGID=%s%s", c, header.MsgNumber, from.text,
            ShownText(header.To).text, subject.text, kludges.msgid, threaded);
  }
}

}  // namespace

int PackLocalMessage(const ScanSite& site, const BasePath& ptr, const LocalMessage& message, Outbound* outbound) {
  const TosserConfig& config = *site.config;
  uint32_t serial = 0;
  if (NextSerial(site.base, &serial) != 0) {
    LogLine("ERROR: could not allocate/persist the next outbound MSGID serial");
    return -1;
  }
  const OutboundKludges kludges = MakeKludges(site, message, serial);
  if (AssembleText(config, message, kludges, &outbound->text) != 0 ||
      AppendToBoth(config, ptr, message, kludges.msgid, outbound) != 0) {
    return -1;
  }
  ReportQueued(message, kludges);
  return 0;
}
