#include "bbs/conference_table.h"

#include <cstdio>
#include <cstring>

#include "app/run_log.h"
#include "app/site_paths.h"
#include "base/ascii.h"
#include "base/bytes.h"
#include "ftn/area_tag.h"
#include "platform/os.h"

namespace {

namespace conference_layout {

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

}  // namespace conference_layout

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
  entry.Routed = record[conference_layout::Routed.at] != 0;
  entry.NetMailConf = record[conference_layout::NetMailConf.at] != 0;
  entry.PublicMsgConf = record[conference_layout::PublicMsgConf.at] != 0;
  entry.LineWidth = KeptLineWidth(GetU16(record + conference_layout::LineWidth.at));
  TrimText(entry.ConfName, GetPrefixedText(record, conference_layout::ConfName, entry.ConfName, sizeof entry.ConfName));
  TrimText(entry.NetIDName,
           GetPrefixedText(record, conference_layout::NetIDName, entry.NetIDName, sizeof entry.NetIDName));
  UpperText(entry.NetIDName);
  return entry;
}

// Reads `count` records. Returns the number of the first conference that cannot be read, or 0.
int32_t ReadRecords(const OsFile& file, size_t records, ConferenceTable* table) {
  table->count = 0;
  table->NetmailConference = kNoConference;
  for (size_t i = 0; i < records; ++i) {
    const auto number = static_cast<int32_t>(i + 1);
    uint8_t record[conference_layout::kSize];
    if (OsReadAt(file, static_cast<int64_t>(i * conference_layout::kSize), record, sizeof record).bytes !=
        sizeof record) {
      return number;
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
  if (!HasUsableTag(entry)) {
    LogLine("ERROR: routed conference %d ('%s') has an empty or malformed NetIDName/AREA tag", entry.Number,
            entry.ConfName);
    ++errors;
  }
  for (size_t i = 0; i < index; ++i) {
    const ConferenceEntry& earlier = table.entries[i];
    if (!ClaimSameTag(earlier, entry)) continue;
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
};

void AddNumber(NumberList* list, int32_t number) {
  const size_t used = strlen(list->text);
  (void)snprintf(list->text + used, sizeof list->text - used, "%s%d", list->count == 0 ? "" : ", ", number);
  ++list->count;
}

}  // namespace

bool HasUsableTag(const ConferenceEntry& entry) { return IsAreaTag(entry.NetIDName, strlen(entry.NetIDName)); }

bool ClaimSameTag(const ConferenceEntry& earlier, const ConferenceEntry& entry) {
  return earlier.Routed && entry.Routed && entry.NetIDName[0] != '\0' &&
         strcmp(earlier.NetIDName, entry.NetIDName) == 0;
}

TableReading ReadConferenceTable(const char* conf_dir, ConferenceTable* table) {
  TableReading reading;
  const auto fails = [&reading](TableFault fault) {
    reading.fault = fault;
    return reading;
  };
  if (FormatConferencesPath(conf_dir, &reading.path) != 0) return fails(kTablePathTooLong);
  OsFile file;
  if (OsOpen(reading.path.text, kOsRead, &file) != kOsOk) return fails(kTableNotOpened);
  const int64_t size = OsSize(file);
  constexpr auto kRecordSize = static_cast<int64_t>(conference_layout::kSize);
  if (size < 0) return fails(kTableNotSized);
  if (size % kRecordSize != 0) return fails(kTableNotAligned);
  if (size == 0) return fails(kTableEmpty);
  reading.records = size / kRecordSize;
  if (reading.records > static_cast<int64_t>(kMostConferences)) return fails(kTableTooLong);
  reading.unread = ReadRecords(file, static_cast<size_t>(reading.records), table);
  if (reading.unread != 0) return fails(kTableReadShort);
  return OsClose(&file) == 0 ? reading : fails(kTableNotClosed);
}

int LoadConferences(const char* conf_dir, ConferenceTable* table) {
  const TableReading reading = ReadConferenceTable(conf_dir, table);
  const char* const path = reading.path.text;
  switch (reading.fault) {
    case kTableRead: LogLine("Loaded %d conference(s) from CVMCONF.DAT", static_cast<int>(table->count)); return 0;
    case kTablePathTooLong: LogLine("FATAL: CONFDIR path is too long to locate CVMCONF.DAT"); break;
    case kTableNotOpened: LogLine("FATAL: could not open %s", path); break;
    case kTableNotSized: LogLine("FATAL: could not size %s", path); break;
    case kTableNotAligned:
      LogLine("FATAL: %s is not aligned to %lu-byte MsgSystem records", path,
              static_cast<unsigned long>(conference_layout::kSize));
      break;
    case kTableEmpty: LogLine("FATAL: %s contains no conference records", path); break;
    case kTableTooLong:
      LogLine("FATAL: %s contains %ld conferences; build limit is %d", path, static_cast<long>(reading.records),
              static_cast<int>(kMostConferences));
      break;
    case kTableReadShort: LogLine("FATAL: short read in %s at conference %d", path, reading.unread); break;
    case kTableNotClosed: LogLine("FATAL: could not close %s cleanly", path); break;
  }
  return -1;
}

NetmailChoice ChooseNetmailConference(const ConferenceTable& table) {
  int takers = 0;
  int private_takers = 0;
  int32_t taker = kNoConference;
  int32_t private_taker = kNoConference;
  for (size_t i = 0; i < table.count; ++i) {
    const ConferenceEntry& entry = table.entries[i];
    if (!entry.NetMailConf) continue;
    ++takers;
    taker = entry.Number;
    if (entry.PublicMsgConf) continue;
    ++private_takers;
    private_taker = entry.Number;
  }
  if (private_takers > 1) return {kNetmailTwoPrivate};
  if (private_takers == 1) return {kNetmailPrivate, private_taker};
  if (takers > 1) return {kNetmailTwoPublic};
  return takers == 1 ? NetmailChoice{kNetmailPublic, taker} : NetmailChoice{kNetmailNowhere};
}

int ValidateConferences(bool verbose, ConferenceTable* table) {
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
  const NetmailChoice choice = ChooseNetmailConference(*table);
  table->NetmailConference = choice.conference;
  switch (choice.kind) {
    case kNetmailNowhere:
    case kNetmailPrivate: break;
    case kNetmailPublic:
      LogLine(
          "WARNING: no conference has NetMailConf=1 with PublicMsgConf=0; using conference %d as the sole NetMailConf conference",
          choice.conference);
      break;
    case kNetmailTwoPrivate:
      LogLine("ERROR: multiple conferences qualify as the dedicated netmail area (NetMailConf=1, PublicMsgConf=0): %s",
              private_netmail.text);
      return -1;
    case kNetmailTwoPublic:
      LogLine(
          "ERROR: netmail routing is ambiguous: no dedicated private netmail conference and multiple NetMailConf conferences exist: %s",
          netmail.text);
      return -1;
  }
  return errors == 0 ? 0 : -1;
}
