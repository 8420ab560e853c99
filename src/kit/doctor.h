// What `cvkit doctor` looks at: settings that cost mail and pass a check.
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

// Examines everything. Throws NotAnswered when the configuration or a file cannot be read, and nothing that was found
// says why.
Examination ExamineSite(const DoctorQuestion& question);

// The text of the configuration. Returns whether it can be loaded: text of wide characters cannot.
bool ExamineConfigText(const std::string& path, Attentions* found);

// Addresses, and what the packets in INBOUND and OUTDIR say of them.
void ExamineAddresses(const TosserConfig& config, Attentions* found);

// Directories, rights and names of files.
void ExaminePlaces(const KitSite& site, const DoctorQuestion& question, Attentions* found);

// Conferences and their message base. Throws NotAnswered when a file cannot be read.
void ExamineBase(const KitSite& site, const DoctorQuestion& question, Examination* examination);
