#include "kit/ledger_base.h"

#include "base/scan_number.h"
#include "bbs/records.h"
#include "bbs/sig_file.h"
#include "kit/kit_answer.h"
#include "kit/kit_output.h"
#include "kit/ledger_source.h"
#include "kit/site_files.h"

namespace {

// Returns the content of a conference's file; empty when it does not exist.
void ReadBaseFile(const MessageBase& base, int32_t conference, const char* kind, ByteBuffer* content) {
  content->size = 0;
  BasePath path;
  OsStatus status;
  if (FormatBasePath(base, conference, kind, &path) != 0 || OsStat(path, &status) == kOsMissing) return;
  if (!ReadSiteFile(path.text, content)) throw NotAnswered(ShownName(path.text) + " cannot be read");
}

}  // namespace

const KnownHeader* LedgerBase::Header(int32_t conference, int32_t message_number) {
  const auto [found, is_new] = headers_.try_emplace(conference);
  if (is_new) {
    ByteBuffer content;
    ReadBaseFile(base_, conference, "PTR", &content);
    for (size_t at = 0; content.size - at >= kPtrRecordSize; at += kPtrRecordSize) {
      const PtrRecord header = UnpackPtrRecord(content.data + at);
      found->second[header.MsgNumber] = {IdentityOfHeader(header), header.Deleted};
    }
  }
  const auto header = found->second.find(message_number);
  return header == found->second.end() ? nullptr : &header->second;
}

const LedgerBase::SigNumbers& LedgerBase::NumbersOf(int32_t conference) {
  const auto [found, is_new] = sigs_.try_emplace(conference);
  SigNumbers& sig = found->second;
  if (!is_new) return sig;
  ByteBuffer content;
  ReadBaseFile(base_, conference, "SIG", &content);
  if (content.size != 0) sig.text.assign(reinterpret_cast<const char*>(content.data), content.size);
  const char* const end = sig.text.data() + sig.text.size();
  for (const char* piece = sig.text.data(); piece != end;) {
    const char* const next = SigPieceEnd(piece, end);
    std::string_view line(piece, static_cast<size_t>(next - piece));
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.remove_suffix(1);
    const size_t tab = line.find('\t');
    const bool has_tab = tab != std::string_view::npos;
    sig.numbers.emplace(line.substr(0, tab), has_tab ? LeadingInt32(std::string(line.substr(tab + 1)).c_str()) : 0);
    piece = next;
  }
  return sig;
}

int32_t LedgerBase::NumberOf(int32_t conference, std::string_view msgid) {
  const SigNumbers& sig = NumbersOf(conference);
  const auto found = sig.numbers.find(msgid);
  return found == sig.numbers.end() ? -1 : found->second;
}
