#include "kit/guide_table.h"

#include <algorithm>
#include <cctype>
#include <map>

namespace {

constexpr std::string_view kDiffers = "…";
constexpr std::string_view kTableBlanks = " \t\r\n";
constexpr std::string_view kLinesSection = "\n## Lines that ask for your attention";
constexpr std::string_view kCodesSections = "\n## What cvkit ";
constexpr std::string_view kRowStart = "| `";
constexpr std::string_view kCellEnd = "` | ";
constexpr std::string_view kRowEnd = " |";
constexpr std::string_view kNothingToDo = "nothing to do";

// The program cuts a line at this length, so that the text after its last value may be missing.
constexpr size_t kCutLine = 1000;

bool StartsWith(std::string_view text, std::string_view start) { return text.substr(0, start.size()) == start; }

template <class Take>
void EachLine(std::string_view text, Take take) {
  while (!text.empty()) {
    const size_t end = std::min(text.find('\n'), text.size() - 1);
    take(text.substr(0, text[end] == '\n' ? end : end + 1));
    text.remove_prefix(end + 1);
  }
}

// The anchor that Markdown viewers generate for a heading.
std::string AnchorOf(std::string_view heading) {
  std::string anchor;
  for (const char c : heading) {
    const auto byte = static_cast<unsigned char>(c);
    if (isalnum(byte) != 0 || c == '-') anchor += static_cast<char>(tolower(byte));
    if (c == ' ') anchor += '-';
  }
  return anchor;
}

std::map<std::string, std::string, std::less<>> ReadHeadings() {
  std::map<std::string, std::string, std::less<>> headings;
  for (const std::string_view section : GuideSections()) {
    EachLine(section, [&headings](std::string_view line) {
      const size_t blank = line.find_first_not_of('#');
      if (blank == 0 || blank == std::string_view::npos || line[blank] != ' ') return;
      const std::string_view heading = line.substr(blank + 1);
      headings.emplace(AnchorOf(heading), heading);
    });
  }
  return headings;
}

// Converts Markdown to plain text: code in quotes, links as the heading that they lead to.
std::string PlainText(std::string_view cell) {
  static const std::map<std::string, std::string, std::less<>> headings = ReadHeadings();
  std::string plain;
  for (size_t at = 0; at < cell.size(); ++at) {
    const size_t middle = cell[at] == '[' ? cell.find("](", at) : std::string_view::npos;
    const size_t end = middle == std::string_view::npos ? middle : cell.find(')', middle);
    if (end == std::string_view::npos) {
      plain += cell[at] == '`' ? '\'' : cell[at];
      continue;
    }
    const std::string_view text = cell.substr(at + 1, middle - at - 1);
    const std::string_view target = cell.substr(middle + 2, end - middle - 2);
    const auto found = headings.find(target.substr(std::min(target.find('#') + 1, target.size())));
    const std::string place =
        '"' + (found == headings.end() ? std::string(target) : found->second) + "\" in the operator's guide";
    plain += AnchorOf(text) == target.substr(1) ? place : std::string(text) + " (" + place + ")";
    at = end;
  }
  return plain;
}

std::vector<std::string> PiecesOf(std::string_view line) {
  std::vector<std::string> pieces;
  line = BareLine(line);
  for (size_t end = line.find(kDiffers); end != std::string_view::npos; end = line.find(kDiffers)) {
    pieces.emplace_back(line.substr(0, end));
    line.remove_prefix(end + kDiffers.size());
  }
  pieces.emplace_back(line);
  // If the value at the end of a line is empty, the blanks before it are missing, too.
  if (line.empty() && pieces.size() > 1) {
    std::string& before = pieces[pieces.size() - 2];
    before.resize(before.find_last_not_of(kTableBlanks) + 1);
  }
  return pieces;
}

std::vector<GuideEntry> ReadRows(std::string_view sections) {
  std::vector<GuideEntry> rows;
  for (const std::string_view section : GuideSections()) {
    if (!StartsWith(section, sections)) continue;
    EachLine(section, [&rows](std::string_view row) {
      const size_t middle = row.find(kCellEnd);
      if (!StartsWith(row, kRowStart) || middle == std::string_view::npos) return;
      GuideEntry entry;
      entry.line = row.substr(kRowStart.size(), middle - kRowStart.size());
      entry.pieces = PiecesOf(entry.line);
      const std::string_view cell = row.substr(middle + kCellEnd.size());
      entry.remedy = PlainText(cell.substr(0, cell.rfind(kRowEnd)));
      entry.asks = !StartsWith(entry.remedy, kNothingToDo);
      rows.push_back(std::move(entry));
    });
  }
  return rows;
}

// Returns how many bytes of a line are fixed text of a row; 0 when the line does not belong to the row.
size_t Match(const GuideEntry& entry, std::string_view line) {
  const std::vector<std::string>& pieces = entry.pieces;
  if (!StartsWith(line, pieces.front())) return 0;
  size_t matched = pieces.front().size();
  const size_t whole = line.size();
  line.remove_prefix(matched);
  if (pieces.size() == 1) return line.empty() ? matched : 0;
  for (size_t i = 1; i < pieces.size(); ++i) {
    const std::string& piece = pieces[i];
    const bool last = i + 1 == pieces.size();
    const size_t at = last ? line.rfind(piece) : line.find(piece);
    const bool found = at != std::string_view::npos && (!last || at + piece.size() == line.size());
    if (!found) return whole >= kCutLine ? matched : 0;
    // If a row begins with a variable part, that is one word: otherwise a name in another line could match the row.
    if (matched == 0 && line.substr(0, at).find(' ') != std::string_view::npos) return 0;
    matched += piece.size();
    line.remove_prefix(at + piece.size());
  }
  return matched;
}

}  // namespace

std::string_view BareLine(std::string_view line) {
  constexpr std::string_view kStamp = "[0000-00-00 00:00:00] ";
  const auto fits = [](char form, char c) { return form == '0' ? c >= '0' && c <= '9' : c == form; };
  const size_t start = std::min(line.find_first_not_of(kTableBlanks), line.size());
  const std::string_view rest = line.substr(start);
  if (rest.size() >= kStamp.size() && std::equal(kStamp.begin(), kStamp.end(), rest.begin(), fits)) {
    line = rest.substr(kStamp.size());
  }
  const size_t first = line.find_first_not_of(kTableBlanks);
  return first == std::string_view::npos ? "" : line.substr(first, line.find_last_not_of(kTableBlanks) - first + 1);
}

const std::vector<GuideEntry>& GuideLines() {
  static const std::vector<GuideEntry> rows = ReadRows(kLinesSection);
  return rows;
}

const GuideEntry* FindGuideLine(std::string_view line) {
  line = BareLine(line);
  const GuideEntry* best = nullptr;
  size_t longest = 0;
  for (const GuideEntry& entry : GuideLines()) {
    const size_t matched = Match(entry, line);
    if (matched <= longest) continue;
    longest = matched;
    best = &entry;
  }
  return best;
}

std::vector<const GuideEntry*> SearchGuideLines(std::string_view text) {
  std::vector<const GuideEntry*> found;
  text = BareLine(text);
  for (const GuideEntry& entry : GuideLines()) {
    if (!text.empty() && entry.line.find(text) != std::string::npos) found.push_back(&entry);
  }
  return found;
}

std::string GuideRemedy(std::string_view code) {
  static const std::vector<GuideEntry> rows = ReadRows(kCodesSections);
  const auto row =
      std::find_if(rows.begin(), rows.end(), [code](const GuideEntry& entry) { return entry.line == code; });
  return row == rows.end() ? "" : row->remedy;
}
