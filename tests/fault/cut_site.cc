#include "fault/cut_site.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "unit/support/captured_log.h"
#include "unit/support/fake_clock.h"
#include "unit/support/fake_process.h"

namespace {

constexpr size_t kPtr = 256;
constexpr size_t kIdx = 16;
constexpr size_t kDat = 128;

struct SigLine {
  std::string msgid;
  int number = 0;
  bool is_whole = false;
};

// As a program reads them: to the line's end, and of what it read up to a NUL.
std::vector<SigLine> SigLinesOf(const std::string& sig) {
  std::vector<SigLine> lines;
  for (size_t at = 0; at < sig.size();) {
    const size_t end = std::min(sig.find('\n', at), sig.size());
    const std::string all = sig.substr(at, end - at);
    const std::string text = all.c_str();
    const size_t tab = text.find('\t');
    SigLine line;
    if (tab != std::string::npos) line = {text.substr(0, tab), atoi(text.c_str() + tab), false};
    line.is_whole = tab != std::string::npos && end < sig.size() && text == all;
    lines.push_back(line);
    at = end + 1;
  }
  return lines;
}

std::string TextBehind(const std::string& dat, const BaseMessage& header, bool* is_written) {
  std::string text;
  for (size_t i = header.where; i < size_t{header.where} + header.records; ++i) {
    const std::string record = dat.substr(i * kDat, kDat);
    if (record == std::string(kDat, '\0')) *is_written = false;
    text += record.substr(1, static_cast<uint8_t>(record[0]));
  }
  return text;
}

bool IsRefused(const std::string& ptr, const std::string& idx, const std::string& dat) {
  if (ptr.size() % kPtr != 0 || idx.size() % kIdx != 0 || dat.size() % kDat != 0) return true;
  if (ptr.empty() && !(idx.empty() && dat.empty())) return true;
  if (idx.size() / kIdx > ptr.size() / kPtr) return true;
  for (size_t at = 0; at < ptr.size(); at += kPtr) {
    const BaseMessage header = HeaderOf(ptr.substr(at, kPtr));
    if (header.deleted) continue;
    if (header.records == 0 || (size_t{header.where} + header.records) * kDat > dat.size()) return true;
  }
  return false;
}

}  // namespace

DiskRun RunOnDisk(const DiskState& start, const Site& site, int (*run)(const TosserConfig& config),
                  std::vector<DiskState>* moments, const std::function<void(ScopedDoor*)>& spoil) {
  FakeClock clock;
  const FakeProcess process(site.ProgramFile());
  const CapturedLog log;
  const PowerDisk disk(start, site.Root(), moments);
  DiskRun done;
  if (spoil) {
    ScopedDoor door;
    spoil(&door);
    done.status = run(site.config);
  } else {
    done.status = run(site.config);
  }
  done.lines = log.Lines();
  if (moments != nullptr) moments->push_back(disk.Now());
  done.files = disk.Now().Seen();
  return done;
}

std::string BytesIn(const SiteFiles& files, const std::string& path) {
  const auto found = files.find(path);
  return found != files.end() ? found->second : "";
}

std::string BaseFilePath(int conference, const std::string& kind) {
  return "msg/CVMSG0" + std::to_string(conference) + "." + kind;
}

std::vector<CutMessage> MessagesAfterCut(const SiteFiles& files, int conference) {
  const std::string ptr = BytesIn(files, BaseFilePath(conference, "PTR"));
  const std::string idx = BytesIn(files, BaseFilePath(conference, "IDX"));
  const std::string dat = BytesIn(files, BaseFilePath(conference, "DAT"));
  const std::vector<SigLine> lines = SigLinesOf(BytesIn(files, BaseFilePath(conference, "SIG")));
  std::vector<CutMessage> messages;
  for (size_t i = 0; (i + 1) * kPtr <= ptr.size(); ++i) {
    CutMessage message;
    static_cast<BaseMessage&>(message) = HeaderOf(ptr.substr(i * kPtr, kPtr));
    message.is_sound =
        message.records != 0 && (size_t{message.where} + message.records) * kDat <= dat.size() && message.number > 0;
    if (message.is_sound) message.body = TextBehind(dat, message, &message.is_sound);
    message.has_index = idx.compare(std::min(idx.size(), i * kIdx + 8), 4, ptr, i * kPtr + 166, 4) == 0;
    for (const SigLine& line : lines) {
      if (line.is_whole && line.number == message.number && message.msgid.empty()) message.msgid = line.msgid;
    }
    messages.push_back(message);
  }
  return messages;
}

bool IsKnown(const SiteFiles& files, int conference, const std::string& msgid) {
  const std::vector<SigLine> lines = SigLinesOf(BytesIn(files, BaseFilePath(conference, "SIG")));
  return !msgid.empty() &&
         std::any_of(lines.begin(), lines.end(), [&](const SigLine& line) { return line.msgid == msgid; });
}

bool IsRefused(const SiteFiles& files) {
  for (int conference = 1; conference <= kCutConferences; ++conference) {
    if (IsRefused(BytesIn(files, BaseFilePath(conference, "PTR")), BytesIn(files, BaseFilePath(conference, "IDX")),
                  BytesIn(files, BaseFilePath(conference, "DAT")))) {
      return true;
    }
  }
  return false;
}

SiteFiles Mended(SiteFiles files) {
  for (int conference = 1; conference <= kCutConferences; ++conference) {
    const std::vector<CutMessage> messages = MessagesAfterCut(files, conference);
    size_t whole = 0;
    size_t records = 0;
    for (; whole < messages.size() && messages[whole].is_sound; ++whole) {
      records = std::max(records, size_t{messages[whole].where} + messages[whole].records);
    }
    std::string sig;
    for (const SigLine& line : SigLinesOf(BytesIn(files, BaseFilePath(conference, "SIG")))) {
      const bool has_header = std::any_of(messages.begin(), messages.begin() + static_cast<ptrdiff_t>(whole),
                                          [&](const CutMessage& one) { return one.number == line.number; });
      if (line.is_whole && has_header) sig += line.msgid + "\t" + std::to_string(line.number) + "\n";
    }
    const std::pair<const char*, size_t> sizes[] = {
        {"PTR", whole * kPtr}, {"IDX", whole * kIdx}, {"DAT", records * kDat}};
    for (const auto& [kind, size] : sizes) {
      const auto found = files.find(BaseFilePath(conference, kind));
      if (found != files.end()) found->second.resize(std::min(found->second.size(), size));
    }
    const auto found = files.find(BaseFilePath(conference, "SIG"));
    if (found != files.end()) found->second = sig;
  }
  return files;
}
