// How far a long work has come: a bar on standard error when that is a terminal, and nothing otherwise.
#pragma once

#include <cstdint>
#include <string>

class Progress {
 public:
  // `total` is in any unit; without one, Reached tells it. The bar goes away at the end of its scope.
  explicit Progress(std::string what, uint64_t total = 0);
  ~Progress() { Clear(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void Add(uint64_t done) { Reached(done_ + done, total_); }
  void Reached(uint64_t done, uint64_t total);

  // Takes the bar away, before anything else is shown.
  void Clear();

 private:
  std::string what_;
  uint64_t total_;
  uint64_t done_ = 0;
  int shown_ = -1;  // percent
};
