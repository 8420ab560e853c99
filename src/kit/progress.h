// How far a long work has come: a bar on standard error when that is a terminal, and nothing otherwise.
#pragma once

#include <cstdint>
#include <string>

class Progress {
 public:
  // `total` is in any unit; the bar goes away at the end of its scope.
  Progress(std::string what, uint64_t total);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void Add(uint64_t done);

 private:
  std::string what_;
  uint64_t total_;
  uint64_t done_ = 0;
  int shown_ = -1;  // percent
};
