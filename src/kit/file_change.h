// Changes a file of the site so that the change can be finished after any interruption, and undone.
//
// The old and the new content are in the backup before the file is touched. It is then written in place, so that owner,
// mode and links stay; meanwhile each of its bytes is that of the old or of the new content. A file with any other byte
// was changed by another program, and is not touched.
#pragma once

#include <string>

// How a file compares with two others.
enum class Content {
  kFirst,    // equal to the first
  kSecond,   // equal to the second
  kBetween,  // each byte is that of one of the two
  kForeign,
};

// Compares the file at `path` with two others; an empty path stands for an absent file. Throws NotAnswered.
Content CompareContent(const std::string& path, const std::string& first, const std::string& second);

// Copies the content of the file at `from` into the one at `path`, or removes that when `from` is empty. The change is
// on the disk when this returns. Throws NotAnswered.
void MakeContent(const std::string& path, const std::string& from);

// Writes a file that does not exist yet, or that an interrupted call has left unfinished. It is on the disk when this
// returns. Throws NotAnswered.
void WriteNewFile(const std::string& path, const std::string& content);

// Returns the SHA-256 of a file in hexadecimal digits; empty for an absent file. Throws NotAnswered.
std::string HashOfFile(const std::string& path);

// Returns the content of a file, which must exist. Throws NotAnswered.
std::string ReadText(const std::string& path);
