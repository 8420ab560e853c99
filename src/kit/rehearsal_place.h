// The temporary directory of a rehearsal. Its name holds the number of its process: whatever ends that process, the
// next rehearsal removes the directory.
#pragma once

#include <string>

class RehearsalPlace {
 public:
  // Makes a directory that only this user may look into, in the directory for temporary files. Throws NotAnswered.
  RehearsalPlace();

  // Removes it with all that is in it, unless it is kept.
  ~RehearsalPlace();
  RehearsalPlace(const RehearsalPlace&) = delete;
  RehearsalPlace& operator=(const RehearsalPlace&) = delete;

  const std::string& Path() const { return path_; }

  // What sets its names apart from all others: "4711-1763166684".
  const std::string& Mark() const { return mark_; }

  // Gives it a name under which nothing removes it; returns its path. Throws NotAnswered.
  std::string Keep();

 private:
  std::string mark_;
  std::string path_;
  bool kept_ = false;
};

// The directory for temporary files. Throws NotAnswered when there is none.
std::string TemporaryDirectoryPath();

// Removes the directories of this user's rehearsals whose process is gone.
void RemoveAbandonedRehearsals();
