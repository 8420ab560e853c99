#include "bbs/conference_table.h"

#include <cstdio>
#include <cstring>

#include "app/run_log.h"
#include "base/ascii.h"
#include "base/bytes.h"
#include "base/path.h"
#include "ftn/area_tag.h"
#include "platform/os.h"

namespace {

namespace layout {

constexpr size_t kSize = 128;
constexpr Field unread0{0, 2};
constexpr Field NetMailConf{2, 1};
constexpr Field ConfName{3, 41};
constexpr Field unread44{44, 1};
constexpr Field PublicMsgConf{45, 1};
constexpr Field unread46{46, 5};
constexpr Field LineWidth{51, 2};
constexpr Field unread53{53, 57};
constexpr Field Routed{110, 1};
constexpr Field unread111{111, 1};
constexpr Field NetIDName{112, 16};
static_assert(CoversRecord({unread0, NetMailConf, ConfName, unread44, PublicMsgConf, unread46, LineWidth, unread53,
                            Routed, unread111, NetIDName},
                           kSize));

}  // namespace layout

constexpr uint16_t kDefaultLineWidth = 79;
constexpr uint16_t kWidestLine = 127;

// Removes the white space around a text of `length` bytes.
void TrimText(char* text, size_t length) {
  while (length > 0 && (text[length - 1] == '\t' || text[length - 1] == '\n' || text[length - 1] == '\r' ||
                        text[length - 1] == ' ')) {
    text[--length] = '\0';
  }
  const size_t leading = strspn(text, " \t");
  memmove(text, text + leading, length - leading + 1);
}

uint16_t KeptLineWidth(uint16_t width) {
  if (width == 0) return kDefaultLineWidth;
  return width < kWidestLine ? width : kWidestLine;
}

ConferenceEntry UnpackConference(const uint8_t* record, int32_t number) {
  ConferenceEntry entry;
  entry.Number = number;
  entry.Routed = record[layout::Routed.at] != 0;
  entry.NetMailConf = record[layout::NetMailConf.at] != 0;
  entry.PublicMsgConf = record[layout::PublicMsgConf.at] != 0;
  entry.LineWidth = KeptLineWidth(GetU16(record + layout::LineWidth.at));
  TrimText(entry.ConfName, GetPrefixedText(record, layout::ConfName, entry.ConfName, sizeof entry.ConfName));
  TrimText(entry.NetIDName, GetPrefixedText(record, layout::NetIDName, entry.NetIDName, sizeof entry.NetIDName));
  UpperText(entry.NetIDName);
  return entry;
}

int ReadRecords(const OsFile& file, const char* path, size_t records, ConferenceTable* table) {
  table->count = 0;
  table->NetmailConference = kNoConference;
  for (size_t i = 0; i < records; ++i) {
    const auto number = static_cast<int32_t>(i + 1);
    uint8_t record[layout::kSize];
    if (OsReadAt(file, static_cast<int64_t>(i * layout::kSize), record, sizeof record).bytes != sizeof record) {
      LogLine("FATAL: short read in %s at conference %d", path, number);
      return -1;
    }
    table->entries[table->count++] = UnpackConference(record, number);
  }
  return 0;
}

const char* YesOrNo(bool value) { return value ? "yes" : "no"; }

void ListConference(const ConferenceEntry& entry) {
  LogLine("  conf %d: '%s'  AREA=%s  route=%s  netmail=%s  public-only=%s", entry.Number,
          entry.ConfName[0] != '\0' ? entry.ConfName : "(unnamed)",
          entry.NetIDName[0] != '\0' ? entry.NetIDName : "(none)", YesOrNo(entry.Routed), YesOrNo(entry.NetMailConf),
          YesOrNo(entry.PublicMsgConf));
}

// Checks the tag of entry `index`, which is routed. Returns the number of errors.
int CheckTag(const ConferenceTable& table, size_t index) {
  const ConferenceEntry& entry = table.entries[index];
  int errors = 0;
  if (!IsAreaTag(entry.NetIDName, strlen(entry.NetIDName))) {
    LogLine("ERROR: routed conference %d ('%s') has an empty or malformed NetIDName/AREA tag", entry.Number,
            entry.ConfName);
    ++errors;
  }
  for (size_t i = 0; i < index; ++i) {
    const ConferenceEntry& earlier = table.entries[i];
    if (!earlier.Routed || entry.NetIDName[0] == '\0' || strcmp(earlier.NetIDName, entry.NetIDName) != 0) continue;
    LogLine("ERROR: duplicate routed AREA tag '%s' in conferences %d and %d", entry.NetIDName, earlier.Number,
            entry.Number);
    ++errors;
  }
  return errors;
}

// Conference numbers for a log line, "3, 5"; a list beyond 255 characters is cut.
struct NumberList {
  char text[256] = {};
  int count = 0;
  int32_t last = kNoConference;
};

void AddNumber(NumberList* list, int32_t number) {
  const size_t used = strlen(list->text);
  (void)snprintf(list->text + used, sizeof list->text - used, "%s%d", list->count == 0 ? "" : ", ", number);
  ++list->count;
  list->last = number;
}

int ChooseNetmailConference(const NumberList& netmail, const NumberList& private_netmail, ConferenceTable* table) {
  if (private_netmail.count > 1) {
    LogLine("ERROR: multiple conferences qualify as the dedicated netmail area (NetMailConf=1, PublicMsgConf=0): %s",
            private_netmail.text);
    return -1;
  }
  if (private_netmail.count == 1) {
    table->NetmailConference = private_netmail.last;
    return 0;
  }
  if (netmail.count > 1) {
    LogLine(
        "ERROR: netmail routing is ambiguous: no dedicated private netmail conference and multiple NetMailConf conferences exist: %s",
        netmail.text);
    return -1;
  }
  if (netmail.count == 1) {
    table->NetmailConference = netmail.last;
    LogLine(
        "WARNING: no conference has NetMailConf=1 with PublicMsgConf=0; using conference %d as the sole NetMailConf conference",
        netmail.last);
  }
  return 0;
}

}  // namespace

int LoadConferences(const char* conf_dir, ConferenceTable* table) {
  Path path;
  if (FormatPath(path.text, sizeof path.text, "%s/CVMCONF.DAT", conf_dir) != 0) {
    LogLine("FATAL: CONFDIR path is too long to locate CVMCONF.DAT");
    return -1;
  }
  OsFile file;
  if (OsOpen(path.text, kOsRead, &file) != kOsOk) {
    LogLine("FATAL: could not open %s", path.text);
    return -1;
  }
  const int64_t size = OsSize(file);
  constexpr auto kRecordSize = static_cast<int64_t>(layout::kSize);
  if (size < 0) {
    LogLine("FATAL: could not size %s", path.text);
    return -1;
  }
  if (size % kRecordSize != 0) {
    LogLine("FATAL: %s is not aligned to %lu-byte MsgSystem records", path.text,
            static_cast<unsigned long>(layout::kSize));
    return -1;
  }
  if (size == 0) {
    LogLine("FATAL: %s contains no conference records", path.text);
    return -1;
  }
  const int64_t records = size / kRecordSize;
  if (records > static_cast<int64_t>(kMostConferences)) {
    LogLine("FATAL: %s contains %ld conferences; build limit is %d", path.text, static_cast<long>(records),
            static_cast<int>(kMostConferences));
    return -1;
  }
  if (ReadRecords(file, path.text, static_cast<size_t>(records), table) != 0) return -1;
  if (OsClose(&file) != 0) {
    LogLine("FATAL: could not close %s cleanly", path.text);
    return -1;
  }
  LogLine("Loaded %d conference(s) from CVMCONF.DAT", static_cast<int>(table->count));
  return 0;
}

int ValidateConferences(bool verbose, ConferenceTable* table) {
  table->NetmailConference = kNoConference;
  int errors = 0;
  NumberList netmail;
  NumberList private_netmail;
  for (size_t i = 0; i < table->count; ++i) {
    const ConferenceEntry& entry = table->entries[i];
    if (verbose && IsNetworked(entry)) ListConference(entry);
    if (entry.Routed) errors += CheckTag(*table, i);
    if (entry.NetMailConf) AddNumber(&netmail, entry.Number);
    if (entry.NetMailConf && !entry.PublicMsgConf) AddNumber(&private_netmail, entry.Number);
  }
  if (ChooseNetmailConference(netmail, private_netmail, table) != 0) return -1;
  return errors == 0 ? 0 : -1;
}
