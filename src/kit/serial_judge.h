// Judges CVOUTBOUND.SEQ: is a serial in use that is later than the last one in the file?
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "app/config.h"
#include "kit/base_model.h"
#include "kit/finding.h"

// The serial file, and the serials found in use.
class Serials {
 public:
  explicit Serials(const TosserConfig& config);

  // Records a MSGID if it is one of ours.
  void See(std::string_view msgid);

  // Records the MSGIDs in the SIG lines of our own messages. Lines of mail from the network do not count, because any
  // sender can forge a MSGID.
  void SeeLines(const BaseModel& model);

  // Adds a finding when the file holds no number, or one that is behind the serials found.
  void Judge(Findings* findings) const;

  const std::string& Path() const { return path_; }
  bool IsBehind() const { return ahead_ != 0 || (damaged_ && seen_); }
  uint32_t Newest() const { return newest_; }  // of the serials found; valid if it is ahead of the file

 private:
  std::string path_;
  std::string prefix_;  // of our MSGIDs: the address and a blank; empty when the configuration has no address
  bool damaged_ = false;
  bool seen_ = false;
  uint32_t last_ = 0;  // the number in the file; 0 for none
  uint32_t newest_ = 0;
  uint32_t ahead_ = 0;  // the distance of the newest from that in the file
};
