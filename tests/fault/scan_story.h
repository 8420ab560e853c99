// What a scan of a scene has to say.
#pragma once

#include <string>
#include <vector>

#include "fault/scan_scene.h"
#include "fault/story.h"

class ScanStory : public Story {
 public:
  ScanStory(const ScanScene& scene, const Site& site, const SiteFiles& found, std::vector<Step> steps);

 private:
  // A message that goes out.
  struct Queued {
    int conference = 0;
    int64_t number = 0;
  };

  // These return whether the run may go on.
  bool Export();
  bool ScanConference(int conference);
  bool ScanMessage(const UnsentMessage& message, int64_t number);
  bool WritePacket();
  bool Publish();

  // Returns whether the message is done with.
  bool Commit(const Queued& message);

  const ScanScene& scene_;
  std::vector<Queued> queue_;
  uint32_t serial_ = 0;
};
