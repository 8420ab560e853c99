// cvkit's readers, judges and repair, on the files of a conference and the mail in INBOUND and OUTDIR: whole messages
// keep every byte, a second repair finds nothing to do, and a run accepts every base that is judged sound.
#include <set>
#include <string>

#include "base/fixed_text.h"
#include "bbs/preflight.h"
#include "fuzz/model/records_model.h"
#include "fuzz/support/input.h"
#include "fuzz/support/memory_files.h"
#include "fuzz/support/rule.h"
#include "kit/leftovers.h"
#include "kit/mail_match.h"
#include "kit/mbox.h"
#include "kit/repair_base.h"
#include "kit/serial_judge.h"
#include "kit/verify_base.h"
#include "kit/verify_sig.h"

namespace {

constexpr char kBase[] = "msg/CVMSG07.";
constexpr int kRounds = 3;
constexpr size_t kPtr = 256;
constexpr size_t kDat = 128;

// Findings of which none is left after a repair, unless the base has no headers left.
const std::set<std::string> kRepairable = {"odd-size",   "index-loose", "index-differs", "loose-text",
                                           "sig-beyond", "sig-cut",     "sig-missing",   "index-cut"};

Findings Judge(const BaseModel& model, const InboundMail& inbound) {
  Findings findings;
  JudgeBase(model, inbound, &findings);
  JudgeSig(model, inbound, &findings);
  for (const Finding& finding : findings) {
    Must(!finding.code.empty() && !finding.text.empty(), "a finding has a code and a sentence");
    for (const char c : finding.text) Must(static_cast<unsigned char>(c) >= ' ', "no control byte is shown");
  }
  return findings;
}

bool Apply(const char* kind, const std::optional<std::string>& content, MemoryFiles* system) {
  if (content) system->files[std::string(kBase) + kind] = *content;
  return content.has_value();
}

// A site with one conference, and mail in INBOUND and OUTDIR.
struct MailSite {
  KitSite kit;
  InboundMail inbound;
  OutboundMail outbound;

  const ConferenceEntry& Entry() const { return kit.conferences.entries[0]; }
};

// A bundle goes to OUTDIR; anything else is inbound, and the first half of it was saved as a bad packet.
MailSite MakeSite(const std::string& mail, MemoryFiles* system) {
  MailSite site;
  TosserConfig& config = site.kit.config;
  CopyCut(config.MsgDir, "msg");
  CopyCut(config.Inbound, "in");
  CopyCut(config.OutDir, "out");
  config.OurAddress = {1, 229, 426, 0};
  config.HaveAddress = config.HaveInbound = config.HaveMsgDir = config.HaveOutDir = 1;
  ConferenceEntry& entry = site.kit.conferences.entries[site.kit.conferences.count++];
  entry.Number = 7;
  entry.Routed = true;
  CopyCut(entry.NetIDName, "AREA");
  if (mail.compare(0, 2, "PK") == 0) {
    system->files["out/6917f02c.su0"] = mail;
  } else if (!mail.empty()) {
    system->files["in/mail.pkt"] = mail;
    system->files["in/badmsgs/BAD_1.PKT"] = mail.substr(0, mail.size() / 2);
  }
  site.inbound = ReadInboundMail(config, site.kit.conferences);
  site.outbound = ReadOutboundMail(config);
  return site;
}

bool RepairOnce(const MailSite& site, MemoryFiles* system) {
  const BaseModel model = ReadBaseModel("msg", 7);
  (void)Judge(model, site.inbound);
  const BaseRepair repair = PlanBaseRepair(model, site.Entry(), site.inbound, site.outbound);
  bool changed = Apply("SIG", repair.sig, system);
  changed |= Apply("PTR", repair.ptr, system);
  changed |= Apply("IDX", repair.idx, system);
  changed |= Apply("DAT", repair.dat, system);
  Must(changed == !repair.texts.empty(), "each change has a sentence, and each sentence a change");
  return changed;
}

void CheckLeftovers(const MailSite& site, const std::string& mail) {
  const bool empty = mail.size() == 1;  // an empty copy is never whole
  const bool half = mail.compare(0, 2, "PK") != 0 && (!site.inbound.sources.empty() || empty);
  const std::vector<Leftover> left = FindLeftovers(site.kit.config, site.inbound, site.outbound);
  MustEqual(static_cast<long long>(left.size()), half ? 1 : 0, "the first half of a packet is a leftover");
}

// After a repair the serial file is not behind the serials in use.
void CheckSerials(const MailSite& site, const BaseModel& model, MemoryFiles* system) {
  for (const bool repaired : {false, true}) {
    Serials serials(site.kit.config);
    for (const OutboundItem& item : site.outbound.items) serials.See(item.msgid);
    serials.SeeLines(model);
    Must(!repaired || !serials.IsBehind(), "the newest serial in use is the newest");
    if (!serials.IsBehind()) return;
    system->files[serials.Path()] = std::to_string(serials.Newest()) + "\n";
  }
}

// Every message is shown once in the threads, and is one message for a program that reads the mbox.
void CheckReader(const MailSite& site) {
  const StoredConference conference = ReadConference(site.kit, site.Entry());
  std::set<size_t> shown;
  for (const ThreadPlace& place : ThreadOrder(conference.messages)) shown.insert(place.index);
  MustEqual(static_cast<long long>(shown.size()), static_cast<long long>(conference.messages.size()),
            "every message is in a thread");
  for (const StoredMessage& message : conference.messages) {
    const std::optional<std::string> text = ReadMessageText(site.kit, message, 7);
    const std::string mail =
        MboxMessage(site.Entry(), message, text.value_or(""), [&](int32_t) { return message.msgid; });
    Must(mail.compare(0, 5, "From ") == 0 && mail.find("\nFrom ") == std::string::npos, "a message is one message");
    for (const char c : mail) {
      Must(c == '\n' || (static_cast<unsigned char>(c) >= ' ' && c != '\x7F'), "no control byte is exported");
    }
  }
}

// Whether a header has a text, and neither of the two has lost bytes.
bool IsWhole(const std::string& ptr, size_t at, const std::string& dat) {
  const size_t where = WordAt(ptr, at + 160);
  const size_t records = WordAt(ptr, at + 162);
  return ptr[at + 158] == 0 && LongAt(ptr, at + 166) > 0 && records != 0 && (where + records) * kDat <= dat.size();
}

std::string WithoutSentMarks(std::string ptr) {
  for (size_t at = 153; at < ptr.size(); at += kPtr) ptr[at] = 0;
  return ptr;
}

// Without inbound mail to compare with, a repair leaves whole messages unchanged, except for the marks of those in a
// bundle.
void CheckKept(const std::string& ptr, const std::string& dat, const MailSite& site, const MemoryFiles& system) {
  const std::string new_ptr = system.Content(std::string(kBase) + "PTR");
  const std::string new_dat = system.Content(std::string(kBase) + "DAT");
  const std::string old_ptr = ptr.substr(0, new_ptr.size());
  if (site.outbound.items.empty()) MustEqual(old_ptr, new_ptr, "headers go at the end only");
  MustEqual(WithoutSentMarks(old_ptr), WithoutSentMarks(new_ptr), "nothing but marks is changed");
  MustEqual(dat.substr(0, new_dat.size()), new_dat, "texts go at the end only");
  for (size_t at = 0; at + kPtr <= ptr.size(); at += kPtr) {
    if (!IsWhole(ptr, at, dat)) continue;
    Must(at + kPtr <= new_ptr.size(), "a whole message keeps its header");
    Must(IsWhole(new_ptr, at, new_dat), "a whole message keeps its text");
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  const std::string ptr = input.TakeBytes(input.TakeWord() % 4096);
  const std::string idx = input.TakeBytes(input.TakeWord() % 512);
  const std::string sig = input.TakeBytes(input.TakeWord() % 4096);
  const std::string dat = input.TakeBytes(input.TakeWord() % 8192);
  const std::string mail = input.TakeRest();

  MemoryFiles system;
  system.files = {{std::string(kBase) + "PTR", ptr},
                  {std::string(kBase) + "IDX", idx},
                  {std::string(kBase) + "SIG", sig},
                  {std::string(kBase) + "DAT", dat},
                  {"msg/CVOUTBOUND.SEQ", "5\n"}};
  const MailSite site = MakeSite(mail, &system);
  CheckLeftovers(site, mail);
  CheckReader(site);

  const bool accepted = IsSound(ptr, idx, dat);
  int rounds = 0;
  while (RepairOnce(site, &system)) Must(++rounds <= kRounds, "a repair comes to its end");
  if (site.inbound.items.empty()) CheckKept(ptr, dat, site, system);

  const BaseModel model = ReadBaseModel("msg", 7);
  const Findings left = Judge(model, site.inbound);
  for (const Finding& finding : left) {
    Must(model.headers.empty() || kRepairable.count(finding.code) == 0, ("this is repaired: " + finding.code).c_str());
  }
  Must(FindPendingExports(model, site.Entry(), site.outbound).empty(), "what a bundle holds is marked sent");
  CheckSerials(site, model, &system);
  const bool passes = PreflightMessageBase("msg", 7, false, nullptr) == 0;
  Must(passes || !accepted, "a base that a run takes is taken after a repair");
  Must(passes || !IsSound(left), "a run takes a base that is sound");
  return 0;
}
