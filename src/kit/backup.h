// The backup of a repair: a directory in MSGDIR with the old and the new content of each changed file, and a list of
// both.
//
// States; each one adds a file to the directory:
//   preparing  copies are being made; nothing of the site has been changed
//   list.json  complete: every change is known, some may have been made
//   done       every change has been made
//   undoing    every file was as the repair left it; some changes may have been undone
//   undone     every change has been undone
//   overtaken  another program changed a file before all changes had been made
// 1. No file of the site is changed before the list is complete and on the disk.
// 2. A repair that finds a list without "done" finishes that list before it does anything else; without a list it takes
//    the directory over.
// 3. A file is changed only while it holds its old content, its new one, or a mixture of the two.
#pragma once

#include <string>
#include <vector>

#include "app/config.h"

struct BackupItem {
  std::string path;    // of the changed file
  std::string before;  // the name of the file with its old content; empty: it did not exist
  std::string after;   // the name of the file with its new content; empty: it is removed
  std::string hash_before;
  std::string hash_after;
};

struct Backup {
  std::string directory;
  std::vector<BackupItem> items;
  std::vector<std::string> texts;  // what was repaired, one sentence each
};

enum class BackupState { kPreparing, kListed, kClosed };

// The backup of an interrupted repair, or a new one, which has no directory yet.
struct OpenBackup {
  Backup backup;
  bool listed = false;  // its list is complete, and its changes have to be finished
};

OpenBackup FindOpenBackup(const TosserConfig& config);

// Copies the file at `path` and its new content into the backup, whose directory is created when missing. The file may
// be absent; `content` is nullptr when the file is to be removed. Throws NotAnswered.
void AddToBackup(const TosserConfig& config, const std::string& path, const std::string* content, Backup* backup);

// Writes the list, which ends the state "preparing". Throws NotAnswered.
void CompleteList(const Backup& backup);

// Whether another program has changed a file of an unfinished list. The rest of the list must not be applied then; a
// new repair starts from the files as they are.
bool IsOvertaken(const Backup& backup);

// Enters the state "overtaken". Throws NotAnswered.
void CloseOvertaken(const Backup& backup);

// Makes the changes of the list. Throws NotAnswered, and changes nothing, when a file holds anything but its old
// content, its new one or a mixture of the two.
void ApplyBackup(const Backup& backup);

// Reads the list in a directory. Throws NotAnswered when there is none.
Backup ReadBackup(const std::string& directory);

// Returns kClosed for every state after "list.json".
BackupState StateOf(const std::string& directory);

// Undoes all changes. Throws NotAnswered, and changes nothing, when a file is no longer as the repair left it.
void UndoBackup(const Backup& backup);
