// How far long work has come: a bar on standard error when that is a terminal.
#pragma once

#include <chrono>
#include <cstddef>

class ProgressBar {
 public:
  ProgressBar() = default;
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;
  ~ProgressBar() { Clear(); }

  // So much of the work is done. Work that is done within a moment shows no bar.
  void Reached(size_t done, size_t all);

  // Takes the bar away, before anything else is shown.
  void Clear();

 private:
  bool shown_ = false;
  std::chrono::steady_clock::time_point next_ = std::chrono::steady_clock::now() + kBetween;  // when to draw

  static constexpr std::chrono::milliseconds kBetween{100};
};
