// The backup of a repair: a directory in MSGDIR with what the changed files held before, what they are to hold, and a
// list of both.
//
// States, each one file of the directory more:
//   preparing  copies are being made; nothing of the site has been changed
//   list.json  complete: every change is known, some may have been made
//   done       every change has been made
//   undoing    every file was as the repair left it; some changes may have been taken back
//   undone     every change has been taken back
//   overtaken  a file was changed by others before the changes had been made
// 1. No file of the site is changed before the list is complete and on the disk.
// 2. A repair that finds a list without "done" finishes that list before it does anything else; without a list it takes
//    the directory over.
// 3. A file is changed only while it holds its old content, its new one, or a mixture of the two.
#pragma once

#include <string>
#include <vector>

#include "app/config.h"

struct BackupItem {
  std::string path;    // of the file of the site
  std::string before;  // the name of its copy in the directory; empty: it was not there
  std::string after;   // the name of its new content in the directory; empty: it is removed
  std::string hash_before;
  std::string hash_after;
};

struct Backup {
  std::string directory;
  std::vector<BackupItem> items;
  std::vector<std::string> texts;  // what was repaired, a sentence each
};

enum class BackupState { kPreparing, kListed, kClosed };

// The backup of a repair that did not end, or a new one, which has no directory yet.
struct OpenBackup {
  Backup backup;
  bool listed = false;  // its list is complete and has to be finished
};

OpenBackup FindOpenBackup(const TosserConfig& config);

// Copies the file at `path` and what it is to hold into the backup, whose directory is made when it is missing. Both
// may be absent. Throws NotAnswered.
void AddToBackup(const TosserConfig& config, const std::string& path, const std::string* content, Backup* backup);

// Ends the preparing. Throws NotAnswered.
void CompleteList(const Backup& backup);

// Whether others have changed a file of a list that was not finished. The changes must not be made then; what of them
// was made is for a new repair to look at.
bool IsOvertaken(const Backup& backup);
void CloseOvertaken(const Backup& backup);

// Makes the changes of the list. Throws NotAnswered when a file holds what it should not; the others are not touched
// then.
void ApplyBackup(const Backup& backup);

// Reads a directory's list. Throws NotAnswered when it holds none.
Backup ReadBackup(const std::string& directory);
BackupState StateOf(const std::string& directory);

// Takes all changes back. Throws NotAnswered when a file is no longer as the repair left it; nothing is changed then.
void UndoBackup(const Backup& backup);
