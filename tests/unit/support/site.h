// A whole site in a temporary directory: all that a run needs.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "app/config.h"
#include "unit/support/message_base.h"
#include "unit/support/temporary_directory.h"

// One conference of CVMCONF.DAT.
struct SiteConference {
  std::string name = "General";
  std::string tag = "GENERAL";
  bool routed = true;
  bool netmail = false;
  bool is_public = false;
};

// The 128 bytes of a conference record, and the 6 of a node's.
std::string ConferenceBytes(const SiteConference& conference);
std::string NodeBytes(uint16_t user, uint8_t mode = 0);

// The directories in, conf, conf/WORK, msg, out and done, one idle node, and these conferences:
//   1 GENERAL  routed        3 Netmail  takes netmail
//   2 FIDO     routed        4 Local    neither
class Site {
 public:
  Site();

  // The site's own directory, and paths within its directories.
  const std::string& Root() const { return directory_.Path(); }
  std::string In(const std::string& name = "") const { return At("in", name); }
  std::string Conf(const std::string& name = "") const { return At("conf", name); }
  std::string Msg(const std::string& name = "") const { return At("msg", name); }
  std::string Out(const std::string& name = "") const { return At("out", name); }
  std::string Done(const std::string& name = "") const { return At("done", name); }
  std::string NodeFile() const { return Conf("WORK/CVWHOSON.DAT"); }
  std::string LockFile() const { return Msg("CVTOSS.BSY"); }
  std::string ProgramFile() const { return directory_ / "cvtoss32"; }

  TestMessageBase Base(int conference) const { return {Msg(), conference}; }

  void WriteConferences(const std::vector<SiteConference>& conferences) const;

  // Every file of the site but the run log, by its path below the site, with its bytes.
  std::map<std::string, std::string> Files() const;

  // Changes the files from `present`, as they are now, to `wanted`; directories that a run has made are removed too.
  void Restore(const std::map<std::string, std::string>& wanted,
               const std::map<std::string, std::string>& present) const;

  // Names the directories above, 1:229/426 as the system and 1:229/100 as its hub.
  TosserConfig config;

 private:
  std::string At(const char* directory, const std::string& name) const;

  TemporaryDirectory directory_;
};
