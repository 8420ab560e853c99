#include "kit/backup.h"

#include <nlohmann/json.hpp>

#include "kit/file_change.h"
#include "kit/kit_answer.h"
#include "kit/kit_format.h"
#include "kit/kit_output.h"
#include "kit/site_files.h"
#include "platform/os.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr char kBackupPrefix[] = "cvkit-backup-";
constexpr char kList[] = "list.json";
constexpr char kBegunList[] = "list.tmp";
constexpr char kDone[] = "done";
constexpr char kUndoing[] = "undoing";
constexpr char kUndone[] = "undone";
constexpr char kOvertaken[] = "overtaken";

bool Has(const std::string& directory, const char* name) { return LookAtFile(directory + "/" + name).exists; }

// Creates "cvkit-backup-20261122-014500" in MSGDIR; if that name is taken, "-2" is appended, and so on.
std::string MakeNewDirectory(const TosserConfig& config) {
  OsCalendar now;
  if (OsLocalTime(OsNow(), &now) != 0) throw NotAnswered("the clock shows no time");
  const std::string first = fmt::format("{}/{}{:04}{:02}{:02}-{:02}{:02}{:02}", config.MsgDir, kBackupPrefix, now.year,
                                        now.month + 1, now.day, now.hour, now.minute, now.second);
  std::string directory = first;
  for (int n = 2;; ++n) {
    const OsResult made = OsMakeDirectory(directory.c_str());
    if (made == kOsOk) return directory;
    if (made != kOsExists) throw NotAnswered(ShownName(directory) + " could not be made: nothing was changed");
    directory = fmt::format("{}-{}", first, n);
  }
}

std::string In(const Backup& backup, const std::string& name) {
  return name.empty() ? name : backup.directory + "/" + name;
}

// The bytes of a path in a form that JSON can hold.
std::string ToText(const std::string& bytes) {
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      text += c;
    } else {
      text += static_cast<char>(0xC0 | byte >> 6);
      text += static_cast<char>(0x80 | (byte & 0x3F));
    }
  }
  return text;
}

std::string FromText(const std::string& text) {
  std::string bytes;
  for (size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte < 0x80 || i + 1 == text.size()) {
      bytes += text[i];
    } else {
      bytes += static_cast<char>(byte << 6 | (static_cast<unsigned char>(text[++i]) & 0x3F));
    }
  }
  return bytes;
}

Json JsonOf(const BackupItem& item) {
  return {{"path", ToText(item.path)},
          {"before", item.before},
          {"after", item.after},
          {"sha256_before", item.hash_before},
          {"sha256_after", item.hash_after}};
}

void CheckCopies(const Backup& backup) {
  for (const BackupItem& item : backup.items) {
    if (HashOfFile(In(backup, item.before)) != item.hash_before ||
        HashOfFile(In(backup, item.after)) != item.hash_after) {
      throw NotAnswered("the backup " + ShownName(backup.directory) + " is damaged: " + ShownName(item.path));
    }
  }
}

// Returns the first file that another program has changed, or nullptr.
const BackupItem* FindForeign(const Backup& backup) {
  CheckCopies(backup);
  for (const BackupItem& item : backup.items) {
    if (CompareContent(item.path, In(backup, item.before), In(backup, item.after)) == Content::kForeign) return &item;
  }
  return nullptr;
}

[[noreturn]] void Refuse(const BackupItem& item, const Backup& backup) {
  throw NotAnswered(ShownName(item.path) + " is not as the repair of " + ShownName(backup.directory) + " left it");
}

// Writes the new or the old content of every file, once all of them have been examined.
void ChangeAll(const Backup& backup, bool undo) {
  if (const BackupItem* const item = FindForeign(backup)) Refuse(*item, backup);
  for (const BackupItem& item : backup.items) MakeContent(item.path, In(backup, undo ? item.before : item.after));
}

}  // namespace

OpenBackup FindOpenBackup(const TosserConfig& config) {
  OpenBackup found;
  for (const std::string& name : ListNames(config.MsgDir)) {
    if (name.rfind(kBackupPrefix, 0) != 0) continue;
    const std::string directory = std::string(config.MsgDir) + "/" + name;
    switch (StateOf(directory)) {
      case BackupState::kPreparing:
        if (found.backup.directory.empty()) found.backup.directory = directory;
        break;
      case BackupState::kListed: return {ReadBackup(directory), true};
      case BackupState::kClosed: break;
    }
  }
  return found;
}

void AddToBackup(const TosserConfig& config, const std::string& path, const std::string* content, Backup* backup) {
  if (backup->directory.empty()) backup->directory = MakeNewDirectory(config);
  BackupItem item;
  item.path = path;
  const std::string number = fmt::format("{:03}", backup->items.size() + 1);
  if (LookAtFile(path).exists) {
    item.before = number + ".before";
    WriteNewFile(In(*backup, item.before), ReadText(path));
    item.hash_before = HashOfFile(path);
  }
  if (content != nullptr) {
    item.after = number + ".after";
    WriteNewFile(In(*backup, item.after), *content);
    item.hash_after = HashOfFile(In(*backup, item.after));
  }
  backup->items.push_back(item);
}

void CompleteList(const Backup& backup) {
  Json items = Json::array();
  for (const BackupItem& item : backup.items) items.push_back(JsonOf(item));
  const Json list = {{"items", items}, {"repaired", backup.texts}};
  WriteNewFile(In(backup, kBegunList), list.dump(2) + "\n");
  if (OsSyncDirectory(backup.directory.c_str()) != 0 ||
      OsRename(In(backup, kBegunList).c_str(), In(backup, kList).c_str()) != kOsOk ||
      OsSyncDirectory(backup.directory.c_str()) != 0) {
    throw NotAnswered("the list of " + ShownName(backup.directory) + " could not be written");
  }
}

bool IsOvertaken(const Backup& backup) { return FindForeign(backup) != nullptr; }

void CloseOvertaken(const Backup& backup) { WriteNewFile(In(backup, kOvertaken), ""); }

void ApplyBackup(const Backup& backup) {
  ChangeAll(backup, false);
  WriteNewFile(In(backup, kDone), "");
}

Backup ReadBackup(const std::string& directory) {
  Backup backup;
  backup.directory = directory;
  if (!Has(directory, kList)) throw NotAnswered(ShownName(directory) + " is no backup of a repair");
  try {
    const Json list = Json::parse(ReadText(In(backup, kList)));
    for (const Json& item : list.at("items")) {
      backup.items.push_back({FromText(item.at("path").get<std::string>()), item.at("before").get<std::string>(),
                              item.at("after").get<std::string>(), item.at("sha256_before").get<std::string>(),
                              item.at("sha256_after").get<std::string>()});
    }
    backup.texts = list.at("repaired").get<std::vector<std::string>>();
  } catch (const Json::exception&) {
    throw NotAnswered("the list of " + ShownName(directory) + " is damaged");
  }
  return backup;
}

BackupState StateOf(const std::string& directory) {
  if (!Has(directory, kList)) return BackupState::kPreparing;
  const bool closed = Has(directory, kDone) || Has(directory, kUndoing) || Has(directory, kOvertaken);
  return closed ? BackupState::kClosed : BackupState::kListed;
}

void UndoBackup(const Backup& backup) {
  if (Has(backup.directory, kUndone)) {
    throw NotAnswered("the repair of " + ShownName(backup.directory) + " was undone before");
  }
  if (Has(backup.directory, kDone) && !Has(backup.directory, kUndoing)) {
    for (const BackupItem& item : backup.items) {
      if (HashOfFile(item.path) != item.hash_after) Refuse(item, backup);
    }
  }
  CheckCopies(backup);
  WriteNewFile(In(backup, kUndoing), "");
  ChangeAll(backup, true);
  WriteNewFile(In(backup, kUndone), "");
}
