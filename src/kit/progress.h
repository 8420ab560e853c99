// A progress bar on standard error; nothing is shown if that is not a terminal.
#pragma once

#include <cstdint>
#include <string>

class Progress {
 public:
  // `total` is in any unit; if it is not known yet, Reached sets it. The destructor removes the bar.
  explicit Progress(std::string what, uint64_t total = 0);
  ~Progress() { Clear(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void Add(uint64_t done) { Reached(done_ + done, total_); }
  void Reached(uint64_t done, uint64_t total);

  // Removes the bar; to be called before other output.
  void Clear();

 private:
  std::string what_;
  uint64_t total_;
  uint64_t done_ = 0;
  int shown_ = -1;  // percent
};
