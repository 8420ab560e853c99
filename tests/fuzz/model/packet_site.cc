#include "fuzz/model/packet_site.h"

#include "base/fixed_text.h"
#include "fuzz/model/records_model.h"
#include "fuzz/support/memory_files.h"

namespace {

// A stored header with one record of text.
std::string Header(int32_t number, bool deleted, unsigned int where) {
  std::string header(256, '\0');
  header[158] = deleted ? 1 : 0;
  Put(160, Word(where) + Word(1), &header);
  Put(166, Long(number) + Long(number), &header);
  return header;
}

}  // namespace

ModelSite MakeSite(uint8_t options) {
  ModelSite site;
  site.time_stamp = MemoryFiles::kStamp;
  site.conferences = {
      {1, "GENERAL", true}, {2, "NEARLY", true}, {3, "BROKEN", true}, {4, "HIDDEN", false}, {5, "REPLIES", true}};
  constexpr const char* kUnwritable[] = {"", "SIG", "PTR", "DAT"};
  site.conferences[0].unwritable = kUnwritable[options / 4 % 4];
  ModelConference& nearly = site.conferences[1];  // one number is left
  nearly.ptr = Header(2147483646, true, 7);
  nearly.idx = std::string(16, '\0');
  site.conferences[2].idx = std::string(16, '\0');  // an index without headers
  ModelConference& replies = site.conferences[4];
  replies.ptr = Header(5, false, 0) + Header(7, true, 1) + Header(-3, false, 1);
  replies.dat = DatRecords("five\x01") + DatRecords("minus three\x01");
  replies.sig = "1:2/3 five\t5\n1:2/3 gone\t7\r\n1:2/3 zero\t0\n1:2/3 minus\t-3\nno tab\n1:2/3 next\t8\n";
  if (options % 2 != 0) {
    site.netmail = 6;
    site.conferences.push_back({6, "", false});
  }
  if (options / 2 % 2 != 0) site.conferences.push_back({7, "*", true});
  return site;
}

ConferenceTable TableOf(const ModelSite& site) {
  ConferenceTable table;
  for (const ModelConference& conference : site.conferences) {
    ConferenceEntry& entry = table.entries[table.count++];
    entry.Number = conference.number;
    entry.Routed = conference.routed;
    entry.NetMailConf = conference.number == site.netmail;
    CopyCut(entry.NetIDName, conference.tag.c_str());
  }
  table.NetmailConference = site.netmail;
  return table;
}

std::map<std::string, std::string> InMessageDirectory(const ModelSite& site) {
  std::map<std::string, std::string> files;
  for (const auto& [name, content] : FilesOf(site)) files["msg/" + name] = content;
  return files;
}
