// What a toss must do with messages: where each goes, whether it is stored, and every byte of the files afterwards.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "fuzz/model/packet_model.h"

// One conference and the files of its message base; an empty one does not exist.
struct ModelConference {
  int number = 0;
  std::string tag;
  bool routed = false;
  std::string ptr = {};
  std::string idx = {};
  std::string dat = {};
  std::string sig = {};
  std::string unwritable = {};  // "PTR", "IDX", "DAT" or "SIG": every write to that file fails
};

enum ModelRoute { kModelStored, kModelSkipped, kModelFailed };

struct ModelSite {
  std::vector<ModelConference> conferences;
  int netmail = -1;        // the number of the conference for netmail
  std::string bad_areas;   // BADAREAS.LST
  std::string time_stamp;  // what it writes before each tag
  int message = 0;         // the number of the last message within its packet
  std::vector<std::string> log;
};

// Does with a message what a toss does, and logs the same lines, except for the causes of a failure.
ModelRoute Route(const ModelMessage& message, ModelSite* site);

// All files of the message base, by name.
std::map<std::string, std::string> FilesOf(const ModelSite& site);
