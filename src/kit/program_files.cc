#include "kit/program_files.h"

#include "kit/kit_answer.h"
#include "kit/kit_output.h"
#include "kit/site_files.h"
#include "platform/os_companion.h"

namespace {

// Writes a file beside its final path and waits for the disk before renaming it.
std::string WriteBeside(const void* bytes, size_t size, const std::string& path) {
  std::string begun = path + ".new";
  OsFile file;
  (void)OsRemove(begun.c_str());
  if (OsOpen(begun.c_str(), kOsCreateNew, &file) != kOsOk || OsWrite(file, bytes, size) != 0 || OsSyncFile(file) != 0 ||
      OsClose(&file) != 0) {
    (void)OsClose(&file);
    (void)OsRemove(begun.c_str());
    throw NotAnswered(ShownName(path) + " cannot be written");
  }
  return begun;
}

void PutInPlace(const std::string& begun, const std::string& path, bool replace) {
  const OsResult put = replace ? OsReplace(begun.c_str(), path.c_str()) : OsRename(begun.c_str(), path.c_str());
  if (put == kOsOk) return;
  (void)OsRemove(begun.c_str());
  throw NotAnswered(ShownName(path) + (put == kOsExists ? " is there already" : " cannot be written"));
}

}  // namespace

void InstallProgram(const std::string& program, const std::string& path) {
  ByteBuffer content;
  if (!ReadSiteFile(program, &content)) throw NotAnswered(ShownName(program) + " cannot be read");
  const std::string begun = WriteBeside(content.data, content.size, path);
  (void)OsMakeExecutable(begun.c_str());
  PutInPlace(begun, path, true);
}

void InstallText(const std::string& text, const std::string& path, bool replace) {
  PutInPlace(WriteBeside(text.data(), text.size(), path), path, replace);
}
