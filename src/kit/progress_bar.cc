#include "kit/progress_bar.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>

#include "kit/kit_output.h"
#include "platform/os.h"

namespace {

constexpr size_t kBarWidth = 40;  // characters between the brackets

}  // namespace

void ProgressBar::Reached(size_t done, size_t all) {
  const auto now = std::chrono::steady_clock::now();
  if (now < next_ || all == 0 || !OsIsTerminal(kOsStderr)) return;
  next_ = now + kBetween;
  const double part = static_cast<double>(std::min(done, all)) / static_cast<double>(all);
  const auto filled = static_cast<size_t>(part * kBarWidth);
  Complain(fmt::format("\r[{:<{}}] {:3}%", std::string(filled, '#'), kBarWidth, static_cast<int>(part * 100)));
  shown_ = true;
}

void ProgressBar::Clear() {
  if (shown_) Complain("\r" + std::string(kBarWidth + 7, ' ') + "\r");
  shown_ = false;
}
