// What `cvkit doctor` examines: settings that lose or delay mail although `cvtoss32 -check` passes.
#pragma once

#include <string>

#include "kit/attention.h"
#include "kit/kit_site.h"

struct DoctorQuestion {
  std::string config;  // its path
  std::string log;
  std::string box;  // of the mailer; empty for none
};

struct Examination {
  Attentions attention;
  std::string unsettled;  // why the site may change at any moment; empty if it does not
};

// Examines everything. Throws NotAnswered when the configuration or a file cannot be read and no finding explains why.
Examination ExamineSite(const DoctorQuestion& question);

// Examines the text of the configuration. Returns false when it cannot be loaded because it is UTF-16.
bool ExamineConfigText(const std::string& path, Attentions* found);

// Examines ADDRESS and HUB, also by the addresses of the packets in INBOUND and OUTDIR.
void ExamineAddresses(const TosserConfig& config, Attentions* found);

// Examines directories, access rights, the log and file names.
void ExaminePlaces(const KitSite& site, const DoctorQuestion& question, Attentions* found);

// Examines the conferences and their message base, and sets `unsettled`. Throws NotAnswered when a file cannot be read.
void ExamineBase(const KitSite& site, const DoctorQuestion& question, Examination* examination);
