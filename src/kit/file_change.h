// Changing a file of the site so that the change can be finished after any interruption, and taken back.
//
// The old and the new content lie in the backup before the file is touched. It is then written in place, so that owner,
// mode and links stay; while that goes on every byte of it is that of the old or of the new content. A file that holds
// anything else was changed by somebody else, and is not touched.
#pragma once

#include <string>

// What a file holds, compared with two others.
enum class Content {
  kFirst,    // it is as the first
  kSecond,   // it is as the second
  kBetween,  // each byte is of one of the two
  kForeign,
};

// Compares the file at `path`; an empty path of the others stands for a file that is not there. Throws NotAnswered.
Content CompareContent(const std::string& path, const std::string& first, const std::string& second);

// Makes the file at `path` hold what the one at `from` holds; it is removed when `from` is empty. On the disk when it
// returns. Throws NotAnswered.
void MakeContent(const std::string& path, const std::string& from);

// Writes a file that is not there yet, or is an unfinished one of ours. On the disk when it returns. Throws
// NotAnswered.
void WriteNewFile(const std::string& path, const std::string& content);

// The hash of a file in hexadecimal digits; empty for a file that is not there. Throws NotAnswered.
std::string HashOfFile(const std::string& path);

// Reads a file that is there. Throws NotAnswered.
std::string ReadText(const std::string& path);
