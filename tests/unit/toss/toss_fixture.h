// Tossing into the site's conferences: 1 GENERAL, 2 FIDO, 3 netmail.
#pragma once

#include <memory>

#include "toss/toss_site.h"
#include "unit/support/packet_bytes.h"
#include "unit/support/site_fixture.h"

class TossFixture : public SiteFixture {
 protected:
  void SetUp() override { UseConferences({{"General", "GENERAL"}, {"Fido", "FIDO"}, {"Netmail", "", false, true}}); }

  void UseConferences(const std::vector<SiteConference>& conferences) {
    site_.WriteConferences(conferences);
    ASSERT_EQ(LoadConferences(site_.Conf().c_str(), table_.get()), 0);
    (void)ValidateConferences(false, table_.get());
    log_.Clear();
  }

  TossSite Where() { return {msg_dir_.c_str(), &no_lock_, &bad_packets_, table_.get(), &touched_}; }

  // The only message of a conference.
  BaseMessage Only(int conference) const {
    const std::vector<BaseMessage> messages = site_.Base(conference).Read();
    EXPECT_EQ(messages.size(), 1U);
    return messages.empty() ? BaseMessage{} : messages[0];
  }

  size_t CountIn(int conference) const { return site_.Base(conference).Read().size(); }

  const std::string msg_dir_ = site_.Msg();
  const std::string bad_dir_ = site_.In("badmsgs");
  BadPackets bad_packets_ = {{bad_dir_.c_str(), kOsTrustOwners}};
  ConferenceSet touched_;
  const std::string bad_file_ = bad_dir_ + "/BAD_1763166684.PKT";
  std::unique_ptr<ConferenceTable> table_ = std::make_unique<ConferenceTable>();
};
