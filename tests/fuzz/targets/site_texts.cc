// The texts other than mail that cvkit reads: the log, plain or packed, and the configuration of the mailer.
#include <algorithm>
#include <string>
#include <vector>

#include "app/config.h"
#include "fuzz/support/input.h"
#include "fuzz/support/memory_files.h"
#include "fuzz/support/rule.h"
#include "kit/explained_run.h"
#include "kit/kit_answer.h"
#include "kit/kit_output.h"
#include "kit/log_reader.h"
#include "kit/log_runs.h"
#include "kit/site_setup.h"
#include "kit/toss_history.h"

namespace {

constexpr size_t kLongest = 4096;  // bytes of a line
constexpr std::string_view kStamp = "[0000-00-00 00:00:00] ";

bool HasStamp(const std::string& line) {
  const auto fits = [](char form, char c) { return form == '0' ? c >= '0' && c <= '9' : c == form; };
  return line.size() >= kStamp.size() && std::equal(kStamp.begin(), kStamp.end(), line.begin(), fits);
}

// The complete lines that have a stamp.
std::vector<std::string> StampedLines(const std::string& content) {
  std::vector<std::string> lines;
  size_t at = 0;
  for (size_t end = content.find('\n'); end != std::string::npos; end = content.find('\n', at)) {
    std::string line = content.substr(at, end - at);
    at = end + 1;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (HasStamp(line) && line.size() <= kLongest) lines.push_back(line);
  }
  return lines;
}

std::vector<std::string> ReadLines(const std::string& path) {
  std::vector<std::string> lines;
  TossHistory history;
  LogRuns runs(
      [](const LoggedRun& run) { Must(run.started.size() == kStamp.size() - 3, "a run has its first stamp"); });
  ReadLog({path}, [&](const LogRecord& record) {
    lines.push_back("[" + std::string(record.stamp) + "] " + std::string(record.text));
    Must(record.text.find(record.value) != std::string_view::npos, "a value is part of its line");
    history.Take(record);
    runs.Take(record);
    return true;
  });
  runs.Finish();
  return lines;
}

void CheckGuide(const std::vector<std::string>& lines) {
  for (const std::string& line : lines) {
    const GuideEntry* const entry = FindGuideLine(line);
    Must(FindGuideLine(line.substr(kStamp.size())) == entry, "the stamp does not matter");
    if (entry == nullptr) continue;
    for (const std::string& piece : entry->pieces) {
      Must(line.size() >= 1000 || line.find(piece) != std::string::npos, "a line has the fixed text of its row");
    }
  }
}

void CheckLastRun(const std::string& path, const std::vector<std::string>& lines) {
  const auto begins = [](const std::string& line) {
    return line.compare(kStamp.size(), 13, "=== cvtoss32 ") == 0 && line.find(" starting ") != std::string::npos;
  };
  const auto start = std::find_if(lines.rbegin(), lines.rend(), begins);
  const ExplainedRun run = ExplainLastRun(path, {});
  MustEqual(run.start, start == lines.rend() ? "" : DecodedMail(*start), "the last run begins with the last such line");
  size_t explained = 0;
  for (const ExplainedLine& line : run.lines) explained += line.count;
  const auto own = std::count_if(lines.rbegin(), start == lines.rend() ? lines.rbegin() : start + 1,
                                 [](const std::string& line) { return FindGuideLine(line) != nullptr; });
  MustEqual(static_cast<long long>(explained), own, "all lines of the last run are explained");
}

void CheckLog(const std::string& content) {
  const std::string path = "log/TOSSER.LOG";
  const std::vector<std::string> lines = StampedLines(content);
  Must(ReadLines(path) == lines, "every complete line with a stamp is read");
  CheckGuide(lines);
  // A line that is too long or has no end is read in another way from the end of the log.
  const bool whole = content.empty() || content.back() == '\n';
  const bool is_short =
      std::none_of(lines.begin(), lines.end(), [](const std::string& line) { return line.size() > 2000; });
  const bool all = static_cast<size_t>(std::count(content.begin(), content.end(), '\n')) == lines.size();
  if (whole && is_short && all) CheckLastRun(path, lines);
}

void CheckPackedLog() {
  try {
    (void)ReadLines("log/TOSSER.LOG.1.gz");
  } catch (const NotAnswered&) {  // it is damaged
  }
}

void CheckMailer(MemoryFiles* system) {
  const SetupProposals found = LookForMail("mailer.cfg");
  for (const SetupDirective& directive : SetupDirectives()) {
    const auto value = found.values.find(directive.keyword);
    if (value != found.values.end()) MustEqual(WhyNot(directive, value->second), "", "what is proposed may be given");
  }
  system->files["CVTOSS32.CFG"] = ConfigurationText(found.values);
  TosserConfig config;
  MustEqual(LoadConfig("CVTOSS32.CFG", &config), 0, "what is proposed is loaded");
  Must((found.values.count("INBOUND") == 1) == (config.HaveInbound != 0) &&
           (found.values.count("HUB") == 1) == (config.HaveHub != 0) &&
           (found.values.count("ADDRESS") == 1) == (config.HaveAddress != 0),
       "each value that is proposed is loaded");
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  MemoryFiles system;
  Input input(data, size);
  const uint8_t kind = input.TakeByte();
  const std::string content = input.TakeRest();
  if (kind == 'L') {
    system.files["log/TOSSER.LOG"] = content;
    CheckLog(content);
  } else if (kind == 'P') {
    system.files["log/TOSSER.LOG.1.gz"] = content;
    CheckPackedLog();
  } else {
    system.files["mailer.cfg"] = content;
    CheckMailer(&system);
  }
  return 0;
}
