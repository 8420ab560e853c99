// A directory for one test.
#pragma once

#include <string>

// Created empty under a new name; removed with its contents by the destructor.
class TemporaryDirectory {
 public:
  TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  ~TemporaryDirectory();

  // Its path, with forward slashes and without one at the end.
  const std::string& Path() const { return path_; }

  // The path of `name` within it.
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};
