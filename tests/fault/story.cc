#include "fault/story.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

Story::Story(const Site& site, const SiteFiles& found, std::vector<Step> steps)
    : site_(site), found_(found), steps_(std::move(steps)) {}

void Story::ExpectToldBy(const std::vector<std::string>& lines, int status) const {
  EXPECT_EQ(status, status_);
  if (at_ != steps_.size()) {
    ADD_FAILURE() << "not foreseen: call " << static_cast<int>(steps_[at_].TheCall()) << " on "
                  << steps_[at_].record->path;
  }
  const auto fits = [](const Line& wanted, const std::string& line) {
    const bool is_start = wanted.text.back() == '*';
    return is_start ? line.compare(0, wanted.text.size() - 1, wanted.text, 0, wanted.text.size() - 1) == 0
                    : line == wanted.text;
  };
  size_t at = 0;
  for (const Line& wanted : told_) {
    if (at < lines.size() && fits(wanted, lines[at])) {
      ++at;
    } else if (!wanted.optional) {
      ADD_FAILURE() << "line " << at + 1 << " should be\n  " << wanted.text << "\nbut "
                    << (at < lines.size() ? "is\n  " + lines[at] : "there is none");
      return;
    }
  }
  if (at != lines.size()) ADD_FAILURE() << "a line too many:\n  " << lines[at];
}

bool Story::IsNext(Part part, Call call) const {
  return at_ < steps_.size() && steps_[at_].part == part && steps_[at_].TheCall() == call;
}

const Step* Story::TakeOne(Part part, Call call) { return IsNext(part, call) ? &steps_[at_++] : nullptr; }

FileUse Story::TakeFile(Part part, std::initializer_list<Call> calls) {
  FileUse use;
  const std::string* path = nullptr;
  while (at_ < steps_.size()) {
    const Step& step = steps_[at_];
    const Call call = step.TheCall();
    if (step.part != part || std::find(calls.begin(), calls.end(), call) == calls.end()) break;
    if (path != nullptr && *path != step.record->path) break;
    // A second opening is that of a missing file, to create it, or begins another use.
    const bool creates = call == Call::kOpen && step.record->mode == kOsCreateNew;
    if (path != nullptr && call == Call::kOpen && !creates) break;
    path = &step.record->path;
    ++at_;
    if (step.failed && use.failed == nullptr) use.failed = &step;
    if (call == Call::kOpen) use.opened = step.Answer() == kOsOk;
    const bool moves = call == Call::kReadAt || call == Call::kWriteAt || call == Call::kWrite;
    if (moves) use.moved += std::max<int64_t>(step.Answer(), 0);
    if (call == Call::kClose || (call == Call::kOpen && step.Answer() == kOsFailed)) break;
  }
  return use;
}

void Story::Say(std::string line) { told_.push_back({Worded(std::move(line), words_), false}); }

bool Story::Tell(const Step* failed, Use use, bool optional) {
  if (failed == nullptr || !failed->failed) return false;
  const std::string line = FailureLine(*failed, use, words_, site_);
  if (!line.empty()) told_.push_back({line, optional});
  return true;
}

std::string Story::Found(const std::string& path) const {
  const auto found = found_.find(path);
  return found != found_.end() ? found->second : "";
}

std::string Story::Found(int conference, const std::string& kind) const {
  return Found(site_.Base(conference).Path(kind).substr(site_.Root().size() + 1));
}
