// Message numbers, which nearly always come in ascending order.
#pragma once

#include <algorithm>
#include <cstdint>
#include <unordered_set>
#include <vector>

class NumberSet {
 public:
  void Reserve(size_t count) { ascending_.reserve(count); }

  // Returns whether the number was not there yet.
  bool Insert(int32_t number) {
    if (ascending_.empty() || number > ascending_.back()) {
      ascending_.push_back(number);
      return true;
    }
    return !IsAscending(number) && others_.insert(number).second;
  }

  bool Contains(int32_t number) const { return IsAscending(number) || others_.count(number) != 0; }

 private:
  bool IsAscending(int32_t number) const {
    if (ascending_.empty() || number < ascending_.front()) return false;
    const auto guess = static_cast<size_t>(int64_t{number} - ascending_.front());  // right while no number is left out
    if (guess < ascending_.size() && ascending_[guess] == number) return true;
    return std::binary_search(ascending_.begin(), ascending_.end(), number);
  }

  std::vector<int32_t> ascending_;
  std::unordered_set<int32_t> others_;  // each is less than a number that came before it
};
