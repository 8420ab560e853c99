// What a toss of a scene has to say.
#pragma once

#include <string>
#include <vector>

#include "fault/story.h"
#include "fault/toss_scene.h"

class TossStory : public Story {
 public:
  TossStory(const TossScene& scene, const Site& site, const SiteFiles& found, std::vector<Step> steps);

 private:
  // These return whether all went well, as far as the source is concerned.
  bool WalkInbound();
  bool ReadSource();
  bool TossBundle();
  bool Inflate();
  bool TossPacket(size_t first, size_t count);
  bool TossMessage(const SceneMessage& message);
  bool StoreMessage(const SceneMessage& message);
  bool Append(const SceneMessage& message, const BaseLook& look);
  const Step* WriteAll(bool* has_header);
  void RollBack(const BaseLook& look, bool has_sig, bool had_sig);
  void SaveBadPacket();
  bool Dispose();

  const TossScene& scene_;
  bool copy_is_whole_ = true;  // of the bad packet, if there is one
};
