// The conference table: the fields of each record, which tags are refused, and where netmail goes.
#include "bbs/conference_table.h"

#include <algorithm>
#include <vector>

#include "fuzz/model/plain_text.h"
#include "fuzz/model/records_model.h"
#include "fuzz/support/input.h"
#include "fuzz/support/memory_files.h"
#include "fuzz/support/rule.h"

namespace {

constexpr size_t kRecord = 128;

// A text field of at most `most` characters without the white space around it.
std::string Trimmed(const std::string& record, size_t at, size_t most) {
  const size_t length = std::min<size_t>(static_cast<unsigned char>(record[at]), most);
  return UpToNul(TrimmedStart(TrimmedEnd(record.substr(at + 1, length), "\t\n\r "), " \t"));
}

void CheckEntry(const std::string& record, int number, const ConferenceEntry& entry) {
  const unsigned int width = WordAt(record, 51);
  MustEqual(entry.Number, number, "conferences are numbered from 1");
  MustEqual(entry.ConfName, Trimmed(record, 3, 40), "the name is trimmed");
  MustEqual(entry.NetIDName, Capitals(Trimmed(record, 112, 15)), "the tag is trimmed and in capitals");
  Must(entry.Routed == (record[110] != 0) && entry.NetMailConf == (record[2] != 0) &&
           entry.PublicMsgConf == (record[45] != 0),
       "each flag is its byte");
  MustEqual(entry.LineWidth, width == 0 ? 79 : std::min(width, 127U), "the line width is bounded");
}

bool IsGoodTag(const std::string& tag) {
  return !tag.empty() && std::all_of(tag.begin(), tag.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte >= 33 && byte != 58 && byte != 127;
  });
}

int CountErrors(const ConferenceTable& table) {
  std::vector<std::string> routed;
  int errors = 0;
  for (size_t i = 0; i < table.count; ++i) {
    const std::string tag = table.entries[i].NetIDName;
    if (!table.entries[i].Routed) continue;
    if (!IsGoodTag(tag)) ++errors;
    if (!tag.empty()) errors += static_cast<int>(std::count(routed.begin(), routed.end(), tag));
    routed.push_back(tag);
  }
  return errors;
}

// Returns the conference for netmail; sets `*ambiguous` when several could be meant.
int ChooseNetmail(const ConferenceTable& table, bool* ambiguous) {
  std::vector<int> all;
  std::vector<int> dedicated;
  for (size_t i = 0; i < table.count; ++i) {
    if (!table.entries[i].NetMailConf) continue;
    all.push_back(table.entries[i].Number);
    if (!table.entries[i].PublicMsgConf) dedicated.push_back(table.entries[i].Number);
  }
  const std::vector<int>& candidates = dedicated.empty() ? all : dedicated;
  *ambiguous = candidates.size() > 1;
  return candidates.size() == 1 ? candidates[0] : -1;
}

void CheckValidation(bool verbose, ConferenceTable* table, MemoryFiles* system) {
  system->log.clear();
  const int result = ValidateConferences(verbose, table);
  bool ambiguous = false;
  const int netmail = ChooseNetmail(*table, &ambiguous);
  const int errors = CountErrors(*table) + (ambiguous ? 1 : 0);
  const auto end = table->entries + table->count;
  const auto listed =
      std::count_if(table->entries, end, [](const ConferenceEntry& entry) { return IsNetworked(entry); });
  MustEqual(table->NetmailConference, netmail, "netmail goes to the one conference that can take it");
  MustEqual(result, errors == 0 ? 0 : -1, "a table with an error is refused");
  MustEqual(system->CountLogged("ERROR: "), errors, "each error is a line");
  MustEqual(system->CountLogged("  conf "), verbose ? listed : 0, "each networked conference is listed on demand");
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  MemoryFiles system;
  const std::string content = Input(data, size).TakeRest();
  system.files["conf/CVMCONF.DAT"] = content;
  ConferenceTable table;
  const int result = LoadConferences("conf", &table);
  const bool valid = !content.empty() && size % kRecord == 0 && size / kRecord <= 200;
  MustEqual(result, valid ? 0 : -1, "a table has 1 to 200 whole records");
  MustEqual(system.CountLogged("FATAL: "), valid ? 0 : 1, "what is wrong with a table is one line");
  if (!valid) return 0;
  MustEqual(static_cast<long long>(table.count), static_cast<long long>(size / kRecord), "each record is an entry");
  for (size_t i = 0; i < table.count; ++i) {
    CheckEntry(content.substr(i * kRecord, kRecord), static_cast<int>(i + 1), table.entries[i]);
  }
  CheckValidation(false, &table, &system);
  CheckValidation(true, &table, &system);
  return 0;
}
