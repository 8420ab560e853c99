// The judge of CVOUTBOUND.SEQ: is the last serial in it behind one that is in use?
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "app/config.h"
#include "kit/base_model.h"
#include "kit/finding.h"

// The serial file, and the serials that have been seen in use.
class Serials {
 public:
  explicit Serials(const TosserConfig& config);

  // Takes note of a MSGID, when it is one of ours.
  void See(std::string_view msgid);

  // Takes note of what the lines of our own messages have. Whoever sends mail may claim any MSGID: a line that came
  // with mail tells nothing.
  void SeeLines(const BaseModel& model);

  // Adds a finding when the file is no number, or behind the serials seen.
  void Judge(Findings* findings) const;

  const std::string& Path() const { return path_; }
  bool IsBehind() const { return ahead_ != 0 || (damaged_ && seen_); }
  uint32_t Newest() const { return newest_; }  // of those seen, as far as it is ahead of the file

 private:
  std::string path_;
  std::string prefix_;  // of our MSGIDs: the address and a blank; empty when the configuration has no address
  bool damaged_ = false;
  bool seen_ = false;
  uint32_t last_ = 0;  // the number in the file; 0 for none
  uint32_t newest_ = 0;
  uint32_t ahead_ = 0;  // by how much the newest is ahead of the file
};
