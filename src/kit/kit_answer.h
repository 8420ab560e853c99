// How cvkit answers: its exit statuses, and why a question has no answer.
#pragma once

#include <stdexcept>
#include <string>

constexpr int kAllIsWell = 0;
constexpr int kNeedsAttention = 1;
constexpr int kNotAnswered = 2;

// Why a question cannot be answered. The text is shown as it stands: names and text from mail in it are showable
// already.
struct NotAnswered : std::runtime_error {
  using std::runtime_error::runtime_error;
};
