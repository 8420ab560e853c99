// System calls that a signal interrupts.
#pragma once

#include <cerrno>

// Makes a system call, again and again as long as a signal interrupts it. Returns what the call returned, with its
// errno.
template <typename Call>
auto Uninterrupted(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR) result = call();
  return result;
}
