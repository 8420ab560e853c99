#include "fault/operator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <set>

#include "fault/cut_site.h"

namespace {

using Lines = std::vector<std::string>;

// The number that follows `word` in a line.
int NumberAfter(const std::string& line, const std::string& word) {
  const size_t at = line.find(word);
  EXPECT_NE(at, std::string::npos) << line;
  return at != std::string::npos ? atoi(line.c_str() + at + word.size()) : 0;
}

// The messages that a run has written to a conference, by the log.
struct Written {
  std::set<int> numbers;
  size_t records = 0;
};

Written WrittenTo(const std::string& conference, Lines::const_iterator from, Lines::const_iterator to) {
  Written written;
  for (; from != to; ++from) {
    if (!from->starts_with("  -> wrote conf " + conference + " ")) continue;
    written.numbers.insert(NumberAfter(*from, " msg #"));
    written.records += static_cast<size_t>(atoi(from->c_str() + from->rfind('(') + 1));
  }
  return written;
}

// The lines of a SIG file up to the first one behind `start` that is none of those numbers'.
std::string LinesUpTo(const std::string& sig, size_t start, const std::set<int>& numbers) {
  size_t end = start;
  for (size_t next = sig.find('\n', end); next != std::string::npos; next = sig.find('\n', end)) {
    if (numbers.count(atoi(sig.c_str() + sig.find('\t', end) + 1)) == 0) break;
    end = next + 1;
  }
  return sig.substr(0, end);
}

std::string SigLineEnd(int number) { return "\t" + std::to_string(number) + "\r\n"; }

void Put(const std::string& path, const std::string& bytes, const SiteFiles& backup, RunStage* stage) {
  if (bytes.empty() && backup.count(path) == 0) {
    stage->RepairByRemoval(path);
  } else {
    stage->Repair(path, bytes);
  }
}

}  // namespace

void CutBackToWholeMessages(const Lines& lines, const SiteFiles& backup, RunStage* stage) {
  for (int conference = 1; conference <= 4; ++conference) {
    const std::string number = std::to_string(conference);
    const auto critical = std::find_if(lines.begin(), lines.end(), [&](const std::string& line) {
      return line.starts_with("CRITICAL: conf " + number + " ");
    });
    if (critical == lines.end()) continue;
    const Written before = WrittenTo(number, lines.begin(), critical);
    const bool from_backup = !WrittenTo(number, critical, lines.end()).numbers.empty();
    const size_t messages = before.numbers.size();
    const std::pair<const char*, size_t> added[] = {
        {"PTR", 256 * messages}, {"IDX", 16 * messages}, {"DAT", 128 * before.records}, {"SIG", 0}};
    for (const auto& [kind, bytes] : added) {
      const std::string path = BaseFilePath(conference, kind);
      const std::string old = BytesIn(backup, path);
      const std::string now = BytesIn(stage->Present(), path);
      const bool is_sig = path == BaseFilePath(conference, "SIG");
      const std::string whole = is_sig ? LinesUpTo(now, old.size(), before.numbers) : now.substr(0, old.size() + bytes);
      EXPECT_TRUE(is_sig || whole.size() == old.size() + bytes) << path << " lacks bytes of whole messages";
      Put(path, from_backup ? old : whole, backup, stage);
    }
  }
}

int LeftSigLine::CountIn(const SiteFiles& files) const {
  const std::string end = SigLineEnd(number);
  const std::string sig = BytesIn(files, BaseFilePath(conference, "SIG"));
  int count = 0;
  for (size_t at = sig.find(end); at != std::string::npos; at = sig.find(end, at + 1)) ++count;
  return count;
}

std::vector<LeftSigLine> LeftSigLines(const Lines& lines) {
  std::vector<LeftSigLine> left;
  for (const std::string& line : lines) {
    if (!line.starts_with("CRITICAL: could not mark conf ")) continue;
    left.push_back({NumberAfter(line, " conf "), NumberAfter(line, " msg #")});
  }
  return left;
}

void RemoveLeftSigLines(const std::vector<LeftSigLine>& left, RunStage* stage) {
  for (const LeftSigLine& line : left) {
    const std::string path = BaseFilePath(line.conference, "SIG");
    const std::string end = SigLineEnd(line.number);
    std::string sig = BytesIn(stage->Present(), path);
    if (sig.size() >= end.size() && sig.compare(sig.size() - end.size(), end.size(), end) == 0) {
      const size_t before = sig.rfind('\n', sig.size() - 2);
      sig.resize(before != std::string::npos ? before + 1 : 0);
      stage->Repair(path, sig);
    }
    EXPECT_EQ(line.CountIn(stage->Present()), 0) << path << ", message " << line.number;
  }
}
