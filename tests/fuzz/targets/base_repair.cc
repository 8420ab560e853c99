// cvkit's judges over the files of a conference, and the repair that they lead to: what is whole stays byte for byte, a
// second look has nothing more to repair, and a run takes a base that is called sound.
#include <set>
#include <string>

#include "base/fixed_text.h"
#include "bbs/preflight.h"
#include "fuzz/model/records_model.h"
#include "fuzz/support/input.h"
#include "fuzz/support/memory_files.h"
#include "fuzz/support/rule.h"
#include "kit/repair_base.h"
#include "kit/verify_base.h"
#include "kit/verify_sig.h"

namespace {

constexpr char kBase[] = "msg/CVMSG07.";
constexpr int kRounds = 3;
constexpr size_t kPtr = 256;
constexpr size_t kDat = 128;

// Findings that a repair leaves none of, unless no header is left to go by.
const std::set<std::string> kRepairable = {"odd-size",   "index-loose", "index-differs", "loose-text",
                                           "sig-beyond", "sig-cut",     "sig-missing"};

Findings Judge(const BaseModel& model, const InboundMail& inbound) {
  Findings findings;
  JudgeBase(model, &findings);
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

bool RepairOnce(const ConferenceEntry& entry, const InboundMail& inbound, MemoryFiles* system) {
  const BaseModel model = ReadBaseModel("msg", 7);
  (void)Judge(model, inbound);
  const BaseRepair repair = PlanBaseRepair(model, entry, inbound, {});
  bool changed = Apply("SIG", repair.sig, system);
  changed |= Apply("PTR", repair.ptr, system);
  changed |= Apply("IDX", repair.idx, system);
  changed |= Apply("DAT", repair.dat, system);
  Must(changed == !repair.texts.empty(), "whatever is changed is told, and nothing else");
  return changed;
}

// Whether a header has its text, and neither has lost bytes.
bool IsWhole(const std::string& ptr, size_t at, const std::string& dat) {
  const size_t where = WordAt(ptr, at + 160);
  const size_t records = WordAt(ptr, at + 162);
  return ptr[at + 158] == 0 && LongAt(ptr, at + 166) > 0 && records != 0 && (where + records) * kDat <= dat.size();
}

// Where inbound mail does not tell that it is only a part of a message, what is whole is as it was.
void CheckKept(const std::string& ptr, const std::string& dat, const MemoryFiles& system) {
  const std::string new_ptr = system.Content(std::string(kBase) + "PTR");
  const std::string new_dat = system.Content(std::string(kBase) + "DAT");
  MustEqual(ptr.substr(0, new_ptr.size()), new_ptr, "headers go at the end only");
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
  const std::string packet = input.TakeRest();

  MemoryFiles system;
  system.files = {{std::string(kBase) + "PTR", ptr},
                  {std::string(kBase) + "IDX", idx},
                  {std::string(kBase) + "SIG", sig},
                  {std::string(kBase) + "DAT", dat}};
  ConferenceTable table;
  ConferenceEntry& entry = table.entries[table.count++];
  entry.Number = 7;
  entry.Routed = true;
  CopyCut(entry.NetIDName, "AREA");
  ByteBuffer file;
  Must(AppendBytes(&file, packet.data(), packet.size()) == 0, "there is memory");
  InboundMail inbound;
  AddInboundFile("mail.pkt", file, table, &inbound);

  const bool accepted = IsSound(ptr, idx, dat);
  int rounds = 0;
  while (RepairOnce(entry, inbound, &system)) Must(++rounds <= kRounds, "a repair comes to its end");
  if (inbound.items.empty()) CheckKept(ptr, dat, system);

  const BaseModel model = ReadBaseModel("msg", 7);
  const Findings left = Judge(model, inbound);
  for (const Finding& finding : left) {
    Must(model.headers.empty() || kRepairable.count(finding.code) == 0, ("this is repaired: " + finding.code).c_str());
  }
  const bool passes = PreflightMessageBase("msg", 7, false, nullptr) == 0;
  Must(passes || !accepted, "a base that a run takes is taken after a repair");
  Must(passes || !IsSound(left), "a run takes a base that is sound");
  return 0;
}
