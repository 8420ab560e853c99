#include "unit/support/site.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <system_error>

#include "unit/support/test_files.h"

namespace {

template <size_t kSize>
void Set(char (&text)[kSize], const std::string& value) {
  ASSERT_LT(value.size(), kSize);
  memcpy(text, value.c_str(), value.size() + 1);
}

}  // namespace

std::string ConferenceBytes(const SiteConference& conference) {
  std::string bytes(128, '\0');
  bytes[2] = conference.netmail ? 1 : 0;
  bytes.replace(3, 41, PrefixedText(conference.name, 41));
  bytes[45] = conference.is_public ? 1 : 0;
  bytes.replace(51, 2, Word(79));
  bytes[110] = conference.routed ? 1 : 0;
  bytes.replace(112, 16, PrefixedText(conference.tag, 16));
  return bytes;
}

std::string NodeBytes(uint16_t user, uint8_t mode) {
  return Word(user) + std::string(1, static_cast<char>(mode)) + std::string(3, '\0');
}

Site::Site() {
  for (const char* name : {"in", "conf", "msg", "out", "done"}) MakeDirectory(directory_ / name);
  MakeDirectory(Conf("WORK"));
  WriteConferences({{"General", "GENERAL"}, {"Fido", "FIDO"}, {"Netmail", "", false, true}, {"Local", "", false}});
  WriteFile(NodeFile(), NodeBytes(65535));
  Set(config.Inbound, In());
  Set(config.ConfDir, Conf());
  Set(config.WorkDir, Conf("WORK"));
  Set(config.MsgDir, Msg());
  Set(config.OutDir, Out());
  Set(config.ProcessedDir, Done());
  Set(config.SystemName, "Harbour BBS");
  config.OurAddress = {1, 229, 426, 0};
  config.HubAddress = {1, 229, 100, 0};
  config.HaveInbound = config.HaveConfDir = config.HaveMsgDir = config.HaveOutDir = 1;
  config.HaveSystem = config.HaveAddress = config.HaveHub = 1;
}

void Site::WriteConferences(const std::vector<SiteConference>& conferences) const {
  std::string bytes;
  for (const SiteConference& conference : conferences) bytes += ConferenceBytes(conference);
  WriteFile(Conf("CVMCONF.DAT"), bytes);
}

std::map<std::string, std::string> Site::Files() const {
  std::map<std::string, std::string> files;
  const std::filesystem::path root(directory_.Path());
  for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
    if (!entry.is_regular_file() || entry.path().filename() == "TOSSER.LOG") continue;
    const std::string path = entry.path().generic_string();
    files[path.substr(root.generic_string().size() + 1)] = ReadFile(path);
  }
  return files;
}

void Site::Restore(const std::map<std::string, std::string>& wanted,
                   const std::map<std::string, std::string>& present) const {
  for (const auto& [path, bytes] : present) {
    if (wanted.count(path) == 0) RemoveFile(directory_ / path);
  }
  for (const auto& [path, bytes] : wanted) {
    const auto found = present.find(path);
    if (found == present.end() || found->second != bytes) WriteFile(directory_ / path, bytes);
  }
  for (const char* added : {"processed", "badmsgs"}) {
    std::error_code ignored;  // one that is not empty was there before
    std::filesystem::remove(In(added), ignored);
  }
}

std::string Site::At(const char* directory, const std::string& name) const {
  return directory_ / (name.empty() ? directory : directory + ("/" + name));
}
