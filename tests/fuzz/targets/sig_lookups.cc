// The lookups in a SIG file against a loop that reads it line by line through a small buffer.
#include "bbs/sig_file.h"

#include "fuzz/model/sig_model.h"
#include "fuzz/support/input.h"
#include "fuzz/support/memory_files.h"
#include "fuzz/support/rule.h"

namespace {

constexpr char kPath[] = "msg/CVMSG07.SIG";
constexpr size_t kBlock = 131072;  // the file is read in blocks of this size

void CheckMsgid(const std::string& content, const std::string& msgid) {
  Must(ScanSigFile(kPath, msgid.c_str(), "").has_msgid == ModelContainsMsgid(content, msgid), "a MSGID seen is known");
  int32_t expected = 0;
  const SigScan scan = ScanSigFile(kPath, "", msgid.c_str());
  Must(scan.has_parent == ModelFindMsgNumber(content, msgid, &expected), "a MSGID that has a number is found");
  if (scan.has_parent) MustEqual(scan.parent, expected, "the first line with the MSGID gives the number");
}

// Both lookups in one pass have the same results, except that no parent is looked up for a duplicate.
void CheckBoth(const std::string& msgid, const std::string& reply) {
  const SigScan both = ScanSigFile(kPath, msgid.c_str(), reply.c_str());
  const SigScan parent = ScanSigFile(kPath, "", reply.c_str());
  Must(both.has_msgid == ScanSigFile(kPath, msgid.c_str(), "").has_msgid, "a reply does not change what is known");
  if (both.has_msgid) return;
  Must(both.has_parent == parent.has_parent && both.parent == parent.parent, "a MSGID does not change the parent");
}

void CheckNumber(const std::string& content, int32_t number) {
  char msgid[kFoundMsgidSize];
  std::string expected;
  const bool found = SigFindMsgid("msg", 7, number, msgid);
  Must(found == ModelFindMsgid(content, number, &expected), "a number that has a MSGID is found");
  if (found) MustEqual(msgid, expected, "the first line with the number gives the MSGID");
}

// A line appended after a whole line is found, unless the MSGID was there before.
void CheckAppended(MemoryFiles* system, const std::string& msgid, int32_t number) {
  std::string& content = system->files[kPath];
  if (msgid.find_first_of("\r\n\t") != std::string::npos || ModelContainsMsgid(content, msgid)) return;
  if (!content.empty() && content.back() != '\n') content += "\n";
  const std::string before = content;
  MustEqual(SigAppend("msg", 7, msgid.c_str(), number), 0, "a line can be appended");
  MustEqual(system->Content(kPath), before + msgid + "\t" + std::to_string(number) + "\r\n", "one line is appended");
  const SigScan scan = ScanSigFile(kPath, "", msgid.c_str());
  Must(scan.has_parent && scan.parent == number, "what was appended is found");
  Must(ScanSigFile(kPath, msgid.c_str(), "").has_msgid, "what was appended is known");
}

// Filler that moves what follows near the end of a block: no lines, or one or more lines of up to 1,023 bytes less
// than a block.
std::string Filler(Input* input) {
  const uint16_t shape = input->TakeWord();
  if (shape % 64 != 63) return "";
  const size_t line = input->TakeWord();
  std::string filler(kBlock - shape / 64, 'x');
  if (line >= 0xF000) return filler;
  for (size_t at = 60 + line % 1000; at < filler.size(); at += 61 + line % 1000) filler[at] = '\n';
  return filler;
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  const auto number = static_cast<int16_t>(input.TakeWord());
  const std::string filler = Filler(&input);
  const size_t from = input.TakeWord();
  std::string msgid = input.TakeText(127);
  const std::string reply = UpToNul(input.TakeText(127));
  const std::string content = input.TakeRest();
  // A piece of the file itself, so that the lookup can succeed.
  if (from < content.size()) msgid = content.substr(from, msgid.size());
  msgid = UpToNul(msgid);

  MemoryFiles system;
  system.files[kPath] = filler + content;
  if (!msgid.empty()) CheckMsgid(filler + content, msgid);
  if (!filler.empty()) return 0;
  CheckNumber(content, number);
  if (msgid.empty()) return 0;
  CheckBoth(msgid, reply);
  CheckAppended(&system, msgid, number);
  return 0;
}
