#include "kit/serial_judge.h"

#include <algorithm>
#include <charconv>
#include <unordered_set>

#include "app/site_paths.h"
#include "base/scan_number.h"
#include "kit/kit_answer.h"
#include "kit/kit_format.h"
#include "kit/kit_output.h"
#include "kit/site_files.h"

namespace {

constexpr size_t kLongestNumber = 1023;  // bytes that a scan reads

enum class Text { kNumber, kEmpty, kDamaged };

// Parses the file as a scan does.
Text ReadNumber(const std::string& text, uint32_t* number) {
  const char* at = text.c_str();
  switch (ScanUint32(&at, number)) {
    case kNumberFits: return at < text.c_str() + kLongestNumber ? Text::kNumber : Text::kDamaged;
    case kNumberTooLarge: return Text::kDamaged;
    case kNoNumber: break;
  }
  *number = 0;
  at = text.c_str();
  SkipWhiteSpace(&at);
  return at == text.c_str() + text.size() ? Text::kEmpty : Text::kDamaged;
}

}  // namespace

Serials::Serials(const TosserConfig& config) {
  BasePath path;
  (void)FormatSerialPath(config.MsgDir, &path);
  path_ = path.text;
  const FtnAddress& our = config.OurAddress;
  if (config.HaveAddress != 0) prefix_ = fmt::format("{}:{}/{} ", our.Zone, our.Net, our.Node);
  ByteBuffer content;
  if (!LookAtFile(path_).exists) return;
  if (!ReadSiteFile(path_, &content)) throw NotAnswered(ShownName(path_) + " cannot be read");
  if (content.size == 0) return;
  const std::string text(reinterpret_cast<const char*>(content.data), content.size);
  damaged_ = ReadNumber(text, &last_) == Text::kDamaged;
  if (damaged_) last_ = 0;
}

void Serials::See(std::string_view msgid) {
  constexpr size_t kDigits = 8;
  if (prefix_.empty() || msgid.size() != prefix_.size() + kDigits || msgid.substr(0, prefix_.size()) != prefix_) return;
  uint32_t serial = 0;
  const char* const digits = msgid.data() + prefix_.size();
  if (std::from_chars(digits, digits + kDigits, serial, 16).ptr != digits + kDigits) return;
  seen_ = true;
  // Serials wrap around: one that is ahead by more than half of their range is behind.
  const uint32_t ahead = serial - last_;
  if (ahead <= UINT32_MAX / 2 && ahead > ahead_) {
    ahead_ = ahead;
    newest_ = serial;
  }
}

void Serials::SeeLines(const BaseModel& model) {
  const auto is_ours = [&](const SigLine& line) {
    return line.of_scan && !prefix_.empty() && model.Msgid(line).substr(0, prefix_.size()) == prefix_;
  };
  if (std::none_of(model.lines.begin(), model.lines.end(), is_ours)) return;
  std::unordered_set<int32_t> inbound;
  for (const HeaderModel& header : model.headers) {
    if (header.inbound) inbound.insert(header.number);
  }
  for (const SigLine& line : model.lines) {
    if (is_ours(line) && !inbound.contains(line.number)) See(model.Msgid(line));
  }
}

void Serials::Judge(Findings* findings) const {
  const std::string repair = IsBehind() ? fmt::format("write {} into it", newest_) : "";
  if (damaged_) {
    findings->push_back({"serial-damaged", Severity::kDamage, 0, path_, -1,
                         "the serial file holds no number: no scan can work", repair});
  } else if (IsBehind()) {
    findings->push_back(
        {"serial-behind", Severity::kDamage, 0, path_, -1,
         fmt::format("the last serial is {}, and {} is in use: serials would be used again", last_, newest_), repair});
  }
}
