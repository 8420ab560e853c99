// What cvkit setup proposes: the files of the BBS, and what the mailer's configuration says.
#include <algorithm>
#include <sstream>

#include "base/ascii.h"
#include "kit/kit_answer.h"
#include "kit/kit_output.h"
#include "kit/site_files.h"
#include "kit/site_setup.h"

namespace {

constexpr size_t kMostDirectories = 500;  // looked into for one question

bool IsProposedDirectory(const std::string& path) {
  OsStatus status;
  return OsStat((path + "/.").c_str(), &status) == kOsOk && status.kind == kOsDirectory;
}

// Returns the directory and its subdirectories; only itself when it cannot be read.
std::vector<std::string> AndBelow(const std::string& directory) {
  std::vector<std::string> found = {directory};
  try {
    for (const std::string& name : ListNames(directory)) {
      const std::string path = directory + "/" + name;
      if (name[0] != '.' && found.size() < kMostDirectories && IsProposedDirectory(path)) found.push_back(path);
    }
  } catch (const NotAnswered&) {
  }
  return found;
}

bool HoldsHeaders(const std::string& directory) {
  try {
    for (const std::string& name : ListNames(directory)) {
      if (name.rfind("CVMSG", 0) == 0 && name.size() > 4 && name.compare(name.size() - 4, 4, ".PTR") == 0) return true;
    }
  } catch (const NotAnswered&) {
  }
  return false;
}

// The words of a line of the mailer's configuration; quoted ones may contain blanks, and "\\" is one backslash.
std::vector<std::string> WordsOf(const std::string& line) {
  std::vector<std::string> words;
  bool quoted = false;
  bool in_word = false;
  for (size_t i = 0; i < line.size(); ++i) {
    const char c = line[i];
    if (c == '"') quoted = !quoted;
    if (!quoted && (c == ' ' || c == '\t' || c == '\r')) {
      in_word = false;
      continue;
    }
    if (!in_word) words.emplace_back();
    in_word = true;
    if (c != '"') words.back() += c;
    if (c == '\\' && i + 1 < line.size() && line[i + 1] == '\\') ++i;
  }
  return words;
}

std::string WithoutDomain(const std::string& address) { return address.substr(0, address.find('@')); }

// "node address host password flavour box": the words that begin with "-" are options, "-" alone is none.
void TakeNode(const std::vector<std::string>& words, SetupProposals* proposals) {
  std::vector<std::string> values;
  for (size_t i = 1; i < words.size(); ++i) {
    if (words[i].size() < 2 || words[i][0] != '-') values.push_back(words[i]);
  }
  if (values.empty() || !proposals->values.emplace("HUB", WithoutDomain(values[0])).second) return;
  if (values.size() > 4 && values[4] != "-") proposals->box = values[4];
}

void TakeLine(const std::vector<std::string>& words, SetupProposals* proposals) {
  if (words.size() < 2 || words[0][0] == '#') return;
  const char* const keyword = words[0].c_str();
  if (SameWord(keyword, "address")) proposals->values.emplace("ADDRESS", WithoutDomain(words[1]));
  if (SameWord(keyword, "inbound")) proposals->values.emplace("INBOUND", words[1]);
  if (SameWord(keyword, "node")) TakeNode(words, proposals);
}

std::string FindMailer() {
  for (const char* const path :
       {"binkd.cfg", "binkd.conf", "../binkd.cfg", "../binkd/binkd.cfg", "/etc/binkd/binkd.conf", "/etc/binkd.conf",
        "/usr/local/etc/binkd.conf", "C:\\binkd\\binkd.cfg"}) {
    if (LookAtFile(path).exists) return path;
  }
  return {};
}

void Propose(const char* keyword, const std::string& value, SetupValues* proposals) {
  for (const SetupDirective& directive : SetupDirectives()) {
    if (directive.keyword == std::string(keyword) && WhyNot(directive, value).empty())
      proposals->emplace(keyword, value);
  }
}

}  // namespace

SetupProposals LookForMail(const std::string& mailer) {
  SetupProposals found;
  found.mailer = mailer.empty() ? FindMailer() : mailer;
  ByteBuffer content;
  if (!found.mailer.empty() && !ReadSiteFile(found.mailer, &content)) {
    throw NotAnswered(ShownName(found.mailer) + " cannot be read");
  }
  SetupProposals read = found;
  std::istringstream lines(std::string(reinterpret_cast<const char*>(content.data), content.size));
  for (std::string line; std::getline(lines, line);) TakeLine(WordsOf(line), &read);
  for (const auto& [keyword, value] : read.values) Propose(keyword.c_str(), value, &found.values);
  found.box = read.box;
  for (const char* const near : {".", "..", "../.."}) {
    for (const std::string& directory : AndBelow(near)) {
      if (LookAtFile(directory + "/CVMCONF.DAT").exists) Propose("CONFDIR", directory, &found.values);
    }
  }
  return found;
}

void LookForBase(const SetupValues& known, SetupValues* proposals) {
  const auto confdir = known.find("CONFDIR");
  if (confdir == known.end()) return;
  for (const std::string& directory : AndBelow(confdir->second)) {
    if (HoldsHeaders(directory)) Propose("MSGDIR", directory, proposals);
    if (!LookAtFile(confdir->second + "/WORK/CVWHOSON.DAT").exists && LookAtFile(directory + "/CVWHOSON.DAT").exists) {
      Propose("WORKDIR", directory, proposals);
    }
  }
  const auto inbound = known.find("INBOUND");
  if (inbound == known.end()) return;
  const std::string parent = DirectoryPart(inbound->second);
  for (const char* const name : {"outbound", "OUTBOUND", "Outbound"}) {
    if (IsProposedDirectory(parent + name)) Propose("OUTDIR", parent + name, proposals);
  }
}
