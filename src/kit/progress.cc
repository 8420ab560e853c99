#include "kit/progress.h"

#include <algorithm>
#include <utility>

#include "kit/kit_format.h"
#include "kit/kit_output.h"
#include "platform/os.h"

namespace {

constexpr size_t kWidth = 30;

}  // namespace

Progress::Progress(std::string what, uint64_t total) : what_(std::move(what)), total_(total) { Add(0); }

void Progress::Reached(uint64_t done, uint64_t total) {
  total_ = std::max<uint64_t>(total, 1);
  done_ = std::min(done, total_);
  const int percent = static_cast<int>(static_cast<double>(done_) * 100 / static_cast<double>(total_));
  if (percent == shown_ || !OsIsTerminal(kOsStderr)) return;
  shown_ = percent;
  const size_t full = static_cast<size_t>(percent) * kWidth / 100;
  Complain(fmt::format("\r{} [{}{}] {:3}%", what_, std::string(full, '#'), std::string(kWidth - full, '-'), percent));
}

void Progress::Clear() {
  if (shown_ >= 0) Complain("\r" + std::string(what_.size() + kWidth + 9, ' ') + "\r");
  shown_ = -1;
}
