#include <fmt/format.h>

#include <algorithm>
#include <cctype>

#include "base/scan_number.h"
#include "kit/doctor.h"
#include "kit/kit_format.h"
#include "kit/kit_output.h"
#include "kit/log_reader.h"
#include "kit/site_files.h"
#include "platform/os_rights.h"

namespace {

struct NamedDirectory {
  const char* name;
  std::string path;
};

bool IsDirectory(const std::string& path) {
  OsStatus status;
  return OsStat((path + "/.").c_str(), &status) == kOsOk && status.kind == kOsDirectory;
}

// Several files with the same finding, which is reported once.
struct AlikeFiles {
  size_t count = 0;
  std::string first;

  void Add(const std::string& path) {
    if (count++ == 0) first = ShownName(path);
  }
  std::string Others() const { return count == 1 ? "" : fmt::format(" (and {} more)", count - 1); }
};

void ExamineSameness(const std::vector<NamedDirectory>& directories, Attentions* found) {
  for (size_t i = 0; i < directories.size(); ++i) {
    for (size_t j = i + 1; j < directories.size(); ++j) {
      const std::string left = directories[i].path + "/.";
      const std::string right = directories[j].path + "/.";
      if (OsSameFile(left.c_str(), right.c_str()) != kOsSame) continue;
      const auto is = [&](size_t place, const char* name) { return std::string(directories[place].name) == name; };
      if (is(i, "CONFDIR") && is(j, "WORKDIR")) continue;  // only read, both of them
      AddAttention("same-directory",
                   fmt::format("{} and {} are one directory: {}", directories[i].name, directories[j].name,
                               ShownName(directories[i].path)),
                   found);
    }
  }
}

// Returns the number in "CVMSG07.PTR", in upper or lower case; 0 for another name.
int32_t ConferenceOf(const std::string& upper) {
  const size_t dot = upper.find('.');
  if (upper.rfind("CVMSG", 0) != 0 || dot == std::string::npos || dot < 6 || dot > 9) return 0;
  const std::string digits = upper.substr(5, dot - 5);
  const bool whole = std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; });
  return whole ? LeadingInt32(digits.c_str()) : 0;
}

// Returns the name by which the program opens that file of the message base; empty for another file.
std::string RightName(const std::string& name) {
  std::string upper = name;
  for (char& c : upper) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
  if (upper == "CVOUTBOUND.SEQ") return upper;
  const int32_t conference = ConferenceOf(upper);
  const std::string kind = upper.substr(std::min(upper.find('.'), upper.size()));
  const bool known = kind == ".PTR" || kind == ".IDX" || kind == ".DAT" || kind == ".SIG";
  return conference > 0 && known ? fmt::format("CVMSG{:02}{}", conference, kind) : "";
}

void ExamineSpelling(const std::string& directory, Attentions* found) {
  const std::vector<std::string> names = ListNames(directory);
  AlikeFiles wrong;
  std::string right;
  for (const std::string& name : names) {
    const std::string looked_for = RightName(name);
    if (looked_for.empty() || looked_for == name) continue;
    const bool finds_it = LookAtFile(std::string(directory).append("/").append(looked_for)).exists &&
                          !std::binary_search(names.begin(), names.end(), looked_for);
    if (finds_it) continue;  // case does not matter here
    wrong.Add(name);
    if (right.empty()) right = looked_for;
  }
  if (wrong.count == 0) return;
  AddAttention(
      "base-spelling",
      fmt::format("{} in MSGDIR{} is never looked at: the program looks for {}", wrong.first, wrong.Others(), right),
      found);
}

void ExamineSwapping(const TosserConfig& config, Attentions* found) {
  const auto holds_base = [](const std::string& directory) {
    const std::vector<std::string> names = ListNames(directory);
    return std::any_of(names.begin(), names.end(), [](const std::string& name) {
      const std::string right = RightName(name);
      return right.size() > 4 && right.compare(right.size() - 4, 4, ".PTR") == 0;
    });
  };
  if (holds_base(config.MsgDir)) return;
  const NamedDirectory others[] = {{"CONFDIR", config.ConfDir}, {"WORKDIR", config.WorkDir}};
  for (const NamedDirectory& other : others) {
    if (!IsDirectory(other.path) || !holds_base(other.path)) continue;
    AddAttention("swapped-directories",
                 fmt::format("MSGDIR holds no message base, and {} does: they look swapped", other.name), found);
  }
}

void ExamineDirectoryRights(const std::vector<NamedDirectory>& directories, Attentions* found) {
  for (const NamedDirectory& directory : directories) {
    if (!IsDirectory(directory.path) || OsMayWrite(directory.path.c_str())) continue;
    AddAttention(
        "not-writable",
        fmt::format("this user may not make and remove files in {}: {}", directory.name, ShownName(directory.path)),
        found);
  }
}

void ExamineLog(const std::string& log, Attentions* found) {
  if (IsLogBlocked(log)) {
    return AddAttention("log-blocked", ShownName(log) + " is not a file: no run can write its log", found);
  }
  if (OsMayWrite((LookAtFile(log).exists ? log : DirectoryOf(log)).c_str())) return;
  AddAttention("not-writable", "this user may not write the log " + ShownName(log), found);
}

void ExamineBaseRights(const KitSite& site, Attentions* found) {
  AlikeFiles read_only;
  const auto look = [&read_only](const std::string& path) {
    if (LookAtFile(path).exists && !OsMayWrite(path.c_str())) read_only.Add(path);
  };
  for (size_t i = 0; i < site.conferences.count; ++i) {
    if (!IsNetworked(site.conferences.entries[i])) continue;
    for (const char* kind : {"PTR", "IDX", "DAT", "SIG"}) {
      BasePath path;
      if (FormatBasePath(site.Base(), site.conferences.entries[i].Number, kind, &path) == 0) look(path.text);
    }
  }
  look(std::string(site.config.MsgDir) + "/CVOUTBOUND.SEQ");
  if (read_only.count == 0) return;
  AddAttention("read-only-file", fmt::format("{}{} cannot be written", read_only.first, read_only.Others()), found);
}

void ExamineInboundFiles(const std::string& inbound, Attentions* found) {
  AlikeFiles unreadable;
  for (const std::string& name : ListNames(inbound)) {
    const std::string path = std::string(inbound).append("/").append(name);
    OsFile file;
    if (LookAtFile(path).exists && OsOpen(path.c_str(), kOsRead, &file) == kOsFailed) unreadable.Add(path);
  }
  if (unreadable.count == 0) return;
  AddAttention("not-readable", fmt::format("{}{} cannot be read by this user", unreadable.first, unreadable.Others()),
               found);
}

void ExamineProcessed(const TosserConfig& config, Attentions* found) {
  if (config.KeepProcessed == 0 || config.HaveInbound == 0) return;
  Path formed;
  FormatProcessedDirectory(config, &formed);
  const std::string path = formed.text;
  if (IsDirectory(path)) return ExamineDirectoryRights({{"the directory of processed files", path}}, found);
  const std::string above = DirectoryOf(path);
  OsStatus status;
  const bool taken = OsStat(path.c_str(), &status) != kOsMissing;
  if (!taken && IsDirectory(above) && OsMayWrite(above.c_str())) return;
  const char* const why = taken                ? "something else has its name"
                          : IsDirectory(above) ? "this user may not make it"
                                               : "the directory above it does not exist";
  AddAttention("processed-dir", fmt::format("{} cannot be made: {}", ShownName(path), why), found);
}

void ExamineBox(const TosserConfig& config, const std::string& box, Attentions* found) {
  if (box.empty() || config.HaveOutDir == 0) return;
  if (!IsDirectory(box)) return AddAttention("box", "the mailer's box is no directory: " + ShownName(box), found);
  if (OsSameVolume(config.OutDir, box.c_str()) != kOsDifferent) return;
  AddAttention("box", "OUTDIR and the mailer's box " + ShownName(box) + " are on different file systems", found);
}

}  // namespace

void ExaminePlaces(const KitSite& site, const DoctorQuestion& question, Attentions* found) {
  const TosserConfig& config = site.config;
  std::vector<NamedDirectory> all = {{"CONFDIR", config.ConfDir}, {"WORKDIR", config.WorkDir}};
  std::vector<NamedDirectory> written = {{"MSGDIR", config.MsgDir}};
  if (config.HaveInbound != 0) written.push_back({"INBOUND", config.Inbound});
  if (config.HaveOutDir != 0) written.push_back({"OUTDIR", config.OutDir});
  all.insert(all.end(), written.begin(), written.end());
  if (config.KeepProcessed != 0 && config.ProcessedDir[0] != '\0') all.push_back({"PROCESSEDDIR", config.ProcessedDir});
  ExamineSameness(all, found);
  ExamineSwapping(config, found);
  ExamineSpelling(config.MsgDir, found);
  ExamineDirectoryRights(written, found);
  ExamineLog(question.log, found);
  ExamineBaseRights(site, found);
  if (config.HaveInbound != 0) ExamineInboundFiles(config.Inbound, found);
  ExamineProcessed(config, found);
  ExamineBox(config, question.box, found);
}
