// What a run has to say, worked out from what became of its calls: the one who tells it goes through the calls in the
// order of the rules, and says at each place the line that the rules have for it.
#pragma once

#include <initializer_list>
#include <string>
#include <vector>

#include "fault/failure_lines.h"
#include "fault/run_promises.h"
#include "fault/steps.h"

// The calls on one file from its opening to its closing, or a part of them.
struct FileUse {
  bool opened = false;
  const Step* failed = nullptr;  // the first that failed
  int64_t moved = 0;             // bytes
};

// Sizes and headers of a message base as a run sees them.
struct BaseLook {
  int conference = 0;
  const Step* failed = nullptr;  // of the status calls
  bool has_ptr = false, has_dat = false, has_idx = false;
  int64_t ptr_size = 0, dat_size = 0, idx_size = 0;
  FileUse ptr;
};

// What of a header matters to other messages.
struct Header {
  int64_t number = 0;
  int64_t where = 0;
  int64_t records = 0;
};

enum class FoundLock { kNone, kFresh, kStale };

class Story {
 public:
  // `found` are the files that the run found.
  Story(const Site& site, const SiteFiles& found, std::vector<Step> steps);

  // Fails the test unless the run ended with that status and the log holds these lines and no others, and no call is
  // left over.
  void ExpectToldBy(const std::vector<std::string>& lines, int status) const;

 protected:
  static constexpr std::initializer_list<Call> kAllOfAFile = {Call::kOpen,    Call::kSize,  Call::kReadAt,
                                                              Call::kWriteAt, Call::kWrite, Call::kSetSize,
                                                              Call::kFlush,   Call::kClose};

  // The next call, or nullptr at the end.
  const Step* Next() const { return at_ < steps_.size() ? &steps_[at_] : nullptr; }
  bool IsNext(Part part, Call call) const;

  // Takes the next call, when it is that one.
  const Step* TakeOne(Part part, Call call);

  // Takes the next calls on a file of that part, no further than its closing.
  FileUse TakeFile(Part part, std::initializer_list<Call> calls = kAllOfAFile);

  // Says a line, its words in place. One that ends in * stands for all that begin so.
  void Say(std::string line);
  // Says what a failed step makes the run say, or what it may say; nothing for nullptr. Returns whether it failed.
  bool Tell(const Step* failed, Use use, bool optional = false);

  // The run has failed, whatever comes.
  void Fail() { status_ = 1; }

  void SetWord(const std::string& name, const std::string& value) { words_[name] = value; }
  void SetWord(const std::string& name, int64_t value) { words_[name] = std::to_string(value); }

  // The bytes of a file as the run found it; those of a conference by their kind.
  std::string Found(const std::string& path) const;
  std::string Found(int conference, const std::string& kind) const;

  // What runs have in common. These return whether the run may go on.
  bool TakeLock(FoundLock found, const std::string& left_line, const std::string& own_line);
  void ReleaseLock();
  bool LoadConferences();
  bool CheckNodes();
  bool PreflightAll();
  bool PrepareMessageBase();

  // A look at a message base, and what it makes of it.
  BaseLook LookAtBase();
  bool JudgeBase(const BaseLook& look);
  std::vector<Header>& HeadersOf(int conference);         // that stand or stood in it, in their order
  std::vector<Header> HeadersSeen(const BaseLook& look);  // that the look has come to

  // Cutting a file back to the size it had, or removing it, and looking at it again. Returns the step that failed.
  const Step* RestoreFile(Part part, bool existed);

  const Site& site_;

 private:
  struct Line {
    std::string text;
    bool optional = false;
  };

  const SiteFiles& found_;
  std::vector<Step> steps_;
  size_t at_ = 0;
  Words words_;
  std::vector<Line> told_;
  int status_ = 0;
  std::map<int, std::vector<Header>> headers_;
};
