// A whole scan: every byte of its bundle follows from the message base; a toss accepts the bundle; and no message is
// exported twice.
#include <cstdio>
#include <cstring>
#include <vector>

#include "app/config.h"
#include "base/fixed_text.h"
#include "bbs/preflight.h"
#include "fuzz/model/plain_text.h"
#include "fuzz/model/records_model.h"
#include "fuzz/model/sig_model.h"
#include "fuzz/support/input.h"
#include "fuzz/support/memory_files.h"
#include "fuzz/support/rule.h"
#include "scan/scan_run.h"
#include "toss/bundle_toss.h"

namespace {

constexpr size_t kMostMessages = 8;

// One message of the base, and what becomes of it.
struct Local {
  std::string ptr;
  std::string from;
  std::string to;  // without its address, when it has one
  std::string subject;
  std::string text;  // as it is packed
  std::string msgid;
  int32_t destination[4] = {1, 229, 100, 0};
  bool exported = false;
};

struct Base {
  std::string ptr;
  std::string dat;
  std::string sig;
  std::vector<Local> messages;
};

// Returns the text without bytes that would begin a new line in the packed text.
std::string OnOneLine(std::string text) {
  for (char& c : text) {
    if (c == '\r' || c == '\n' || c == '\0') c = '.';
  }
  return text;
}

TosserConfig MakeConfig(Input* input) {
  TosserConfig config;
  CopyCut(config.ConfDir, "conf");
  CopyCut(config.WorkDir, "work");
  CopyCut(config.MsgDir, "msg");
  CopyCut(config.OutDir, "out");
  CopyCut(config.SystemName, OnOneLine(input->TakeText(63)).c_str());
  CopyCut(config.PacketPassword, UpToNul(input->TakeText(8)).c_str());
  config.OurAddress = {1, 229, 426, 9};
  config.HubAddress = {1, 229, 100, 0};
  return config;
}

std::string ConferenceRecord(bool netmail) {
  std::string record(128, '\0');
  record[2] = netmail ? 1 : 0;
  record[110] = netmail ? 0 : 1;
  Put(112, Prefixed(netmail ? "" : "GENERAL", 15), &record);
  return record;
}

// Adds a message that the input describes to conference `number`, the second of which takes netmail.
void AddMessage(int number, Input* input, Base* base) {
  const uint8_t flags = input->TakeByte();
  Local message;
  message.from = UpToNul(input->TakeText(30));
  message.to = UpToNul(input->TakeText(30));
  message.subject = UpToNul(input->TakeText(40));
  const auto thread = static_cast<int8_t>(input->TakeByte());
  const std::string dat = DatRecords(input->TakeBytes(input->TakeWord() % 700));
  std::string& record = message.ptr;
  record.assign(256, '\0');
  Put(18, Prefixed(message.from, 30), &record);
  Put(49, Prefixed(message.to, 30), &record);
  Put(111, Prefixed(message.subject, 40), &record);
  record[152] = number == 2 ? 1 : 0;
  record[153] = static_cast<char>(flags & 8);
  record[155] = static_cast<char>(flags & 4);
  record[157] = static_cast<char>(flags & 2);
  record[158] = static_cast<char>(flags & 16);
  Put(160, Word(static_cast<unsigned int>(base->dat.size() / 128)) + Word(static_cast<unsigned int>(dat.size() / 128)),
      &record);
  Put(166, Long(static_cast<int64_t>(base->messages.size() + 1)) + Long(thread), &record);
  base->ptr += record;
  base->dat += dat;
  base->messages.push_back(message);
}

std::string Body(const Base& base, const std::string& record) {
  std::string stored;
  (void)StoredText(base.dat, WordAt(record, 160), WordAt(record, 162), &stored);
  std::string body;
  for (const char c : stored) {
    if (c == '\x01') {
      body += '\r';
    } else if ((c & 0x80) == 0) {
      body += c;
    }
  }
  return TrimmedEnd(body, "\r\n");
}

// Decides whether the message is exported, and as which kind of mail.
void Export(const TosserConfig& config, unsigned int* serials, const Base& base, Local* message) {
  const std::string& record = message->ptr;
  const bool netmail = record[152] != 0;
  if (record[153] != 0 || record[158] != 0) return;
  if (netmail) {
    const size_t at_sign = message->to.rfind('@');
    if (at_sign == std::string::npos || ReadAddress(message->to.substr(at_sign + 1), message->destination) < 3) return;
    message->to.resize(at_sign);
  }
  char msgid[64];
  (void)snprintf(msgid, sizeof msgid, "1:229/426 %08x", ++*serials);
  message->exported = true;
  message->msgid = msgid;
  std::string parent;
  const int32_t thread = LongAt(record, 170);
  const bool reply = record[155] != 0 && thread != LongAt(record, 166) && ModelFindMsgid(base.sig, thread, &parent);
  const std::string text = std::string(netmail ? "" : "AREA:GENERAL\r") + "\x01MSGID: " + msgid +
                           "\r\x01TZUTC: +0000\r" + (reply ? "\x01REPLY: " + parent + "\r" : "") + Body(base, record) +
                           "\r\r\r--- cvtoss32 1.05\r * Origin: " + config.SystemName + " (1:229/426)\r" +
                           (netmail ? "" : "SEEN-BY: 229/426 100\r\x01PATH: 229/426\r");
  message->text = UpToNul(text);
}

std::string ExpectedPacket(const TosserConfig& config, const std::vector<Local>& exported) {
  std::string password = config.PacketPassword;
  password.resize(8);
  // From node and to node; 2025-11-15 00:31:24; no baud rate; type 2; from net and to net.
  std::string packet = Word(426) + Word(100) + Word(2025) + Word(10) + Word(15) + Word(0) + Word(31) + Word(24) +
                       Word(0) + Word(2) + Word(229) + Word(229) + Word(0) + password;
  packet +=
      Word(1) + Word(1) + Word(0) + Word(256) + Word(0) + Word(1) + Word(1) + Word(1) + Word(9) + Word(0) + Long(0);
  for (const Local& message : exported) {
    const int32_t(&to)[4] = message.destination;
    packet += Word(2) + Word(426) + Word(static_cast<unsigned int>(to[2]) % 65536) + Word(229) +
              Word(static_cast<unsigned int>(to[1]) % 65536) + Word(message.ptr[157] != 0 ? 1 : 0) + Word(0);
    for (const std::string& text :
         {std::string("15 Nov 25  00:31:24"), message.to, message.from, message.subject, message.text}) {
      packet += text + '\0';
    }
  }
  return packet + Word(0);
}

std::string ExpectedBundle(const std::string& entry, const std::string& packet) {
  const auto size = static_cast<int64_t>(packet.size());
  const auto names = static_cast<int64_t>(entry.size());
  const std::string common = Word(20) + Word(0) + Word(0) + Word(12 + 31 * 32) + Word(15 + 11 * 32 + 45 * 512) +
                             Long(CrcOf(packet)) + Long(size) + Long(size) + Word(static_cast<unsigned int>(names)) +
                             Word(0);
  return "PK\x03\x04" + common + entry + packet + "PK\x01\x02" + Word(20) + common + Word(0) + Word(0) + Word(0) +
         Long(0) + Long(0) + entry + "PK\x05\x06" + Word(0) + Word(0) + Word(1) + Word(1) + Long(46 + names) +
         Long(30 + names + size) + Word(0);
}

void CheckConference(const MemoryFiles& system, const std::string& path, const Base& base) {
  std::string ptr;
  std::string sig = base.sig;
  for (const Local& message : base.messages) {
    std::string record = message.ptr;
    if (message.exported) {
      record[153] = 1;
      sig += message.msgid + "\t" + std::to_string(LongAt(record, 166)) + "\r\n";
    }
    ptr += record;
  }
  MustEqual(system.Content(path + ".PTR"), ptr, "what was exported is marked sent, and nothing else changes");
  MustEqual(system.Content(path + ".DAT"), base.dat, "no text changes");
  MustEqual(system.Content(path + ".SIG"), sig, "what was exported has its line");
}

// Tosses the bundle into an empty message base.
void CheckTossed(const std::string& bundle, const std::vector<Local>& exported, MemoryFiles* system) {
  const ExactCopy copy(bundle);
  ConferenceTable table;
  table.count = 2;
  table.entries[0].Number = 1;
  table.entries[0].Routed = true;
  CopyCut(table.entries[0].NetIDName, "GENERAL");
  table.entries[1].Number = table.NetmailConference = 2;
  table.entries[1].NetMailConf = true;
  RunLock no_lock;
  BadPackets bad_packets = {{"there/bad", kOsTrustPath}};
  ConferenceSet touched;
  const TossSite site = {"there", &no_lock, &bad_packets, &table, &touched};
  MustEqual(TossZipBundle(site, copy.Data(), bundle.size()), PacketDone, "a bundle that is written can be read");
  size_t taken[3] = {};
  for (const Local& message : exported) {
    const int conference = message.ptr[152] != 0 ? 2 : 1;
    const size_t at = 256 * taken[conference]++;
    const std::string ptr = system->Content("there/CVMSG0" + std::to_string(conference) + ".PTR");
    Must(ptr.size() >= at + 256, "each message that was exported is stored");
    MustEqual(PrefixedAt(ptr, at + 18, 30), message.from, "the sender arrives");
    MustEqual(PrefixedAt(ptr, at + 49, 30), message.to, "the recipient arrives");
    MustEqual(PrefixedAt(ptr, at + 111, 40), message.subject, "the subject arrives");
    Must((ptr[at + 157] != 0) == (message.ptr[157] != 0), "what is private arrives so");
  }
  for (const int conference : {1, 2}) {
    MustEqual(PreflightMessageBase("there", conference, false, nullptr), 0, "what is stored is sound");
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  MemoryFiles system;
  Input input(data, size);
  const TosserConfig config = MakeConfig(&input);
  Base bases[2];
  for (const char c : input.TakeText(255)) {
    if (c != '\r') bases[0].sig += c;
  }
  for (size_t i = 0; i < kMostMessages && input.Left() != 0; ++i) {
    const int conference = 1 + input.TakeByte() % 2;
    AddMessage(conference, &input, &bases[conference - 1]);
  }
  system.files["conf/CVMCONF.DAT"] = ConferenceRecord(false) + ConferenceRecord(true);
  system.files["work/CVWHOSON.DAT"] = "\xFF\xFF....";
  unsigned int serials = 0;
  std::vector<Local> exported;
  for (const int i : {0, 1}) {
    const std::string path = "msg/CVMSG0" + std::to_string(i + 1);
    if (!bases[i].ptr.empty()) system.files[path + ".PTR"] = bases[i].ptr;
    if (!bases[i].dat.empty()) system.files[path + ".DAT"] = bases[i].dat;
    if (!bases[i].sig.empty()) system.files[path + ".SIG"] = bases[i].sig;
    for (Local& message : bases[i].messages) {
      Export(config, &serials, bases[i], &message);
      if (message.exported) exported.push_back(message);
    }
  }
  const size_t files_before = system.files.size();

  MustEqual(RunScan(config), 0, "a sound message base can be scanned");
  for (const int i : {0, 1}) CheckConference(system, "msg/CVMSG0" + std::to_string(i + 1), bases[i]);
  const std::string bundle = system.Content("out/6917c9dc.sa0");
  if (exported.empty()) {
    MustEqual(static_cast<long long>(system.files.size()), static_cast<long long>(files_before + 1),
              "only a log is new");
    return 0;
  }
  MustEqual(bundle, ExpectedBundle("6917c9dc.pkt", ExpectedPacket(config, exported)), "the bundle says it all");
  MustEqual(system.Content("msg/CVOUTBOUND.SEQ"), std::to_string(serials) + kOsLineEnd, "the last serial is kept");
  for (const char* passing : {"msg/CVOUTBOUND.PKT", "msg/CVTOSS.BSY", "out/6917c9dc.sa0.tmp"}) {
    Must(system.files.count(passing) == 0, "nothing temporary is left");
  }
  system.files.erase("prog/TOSSER.LOG");
  const std::map<std::string, std::string> files = system.files;
  MustEqual(RunScan(config), 0, "what is scanned can be scanned again");
  system.files.erase("prog/TOSSER.LOG");
  Must(system.files == files, "nothing is exported twice");
  CheckTossed(bundle, exported, &system);
  return 0;
}
