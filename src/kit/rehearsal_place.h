// The temporary directory of a rehearsal. Its name contains its process number, so that the next rehearsal can remove
// it, however that process has ended.
#pragma once

#include <string>

class RehearsalPlace {
 public:
  // Creates a directory that only this user may read, in the directory for temporary files. Throws NotAnswered.
  RehearsalPlace();

  // Removes it with its contents, unless it is kept.
  ~RehearsalPlace();
  RehearsalPlace(const RehearsalPlace&) = delete;
  RehearsalPlace& operator=(const RehearsalPlace&) = delete;

  const std::string& Path() const { return path_; }

  // A text that makes its names unique: "4711-1763166684".
  const std::string& Mark() const { return mark_; }

  // Renames it so that no rehearsal removes it, and returns its path. Throws NotAnswered.
  std::string Keep();

 private:
  std::string mark_;
  std::string path_;
  bool kept_ = false;
};

// Returns the directory for temporary files. Throws NotAnswered when there is none.
std::string TemporaryDirectoryPath();

// Removes the directories of this user's rehearsals whose processes have ended.
void RemoveAbandonedRehearsals();
