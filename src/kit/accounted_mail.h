// Judges whether the mail in a file is accounted for, so that the file can be removed without losing a message.
#pragma once

#include <memory>
#include <string>

#include "kit/kit_site.h"
#include "kit/toss_forecast.h"

enum class Account {
  kAccounted,    // every message is in the message base, was removed from it, or is dropped by a rule
  kUnaccounted,  // a message is neither in the base nor known to have been there
  kDamaged,      // every readable message is accounted for; the rest of the file is damaged
  kNoMail,       // neither a bundle nor a packet
  kUnreadable,
};

class AccountedMail {
 public:
  explicit AccountedMail(const KitSite& site) : site_(site) {}

  // Judges the file at `path` by the present message base.
  Account Judge(const std::string& path);

 private:
  const KitSite& site_;
  std::unique_ptr<TossForecast> forecast_;  // reused until a message has been added to it
};
