#include "kit/toss_forecast.h"

#include <gtest/gtest.h>

#include "unit/support/packet_bytes.h"
#include "unit/support/site.h"

namespace {

// A site whose conference 1 holds message 1, "1:2/3 old".
class Forecast : public testing::Test {
 protected:
  Forecast() {
    BaseMessage earlier;
    earlier.msgid = "1:2/3 old";
    site_.Base(1).Add(earlier);
    kit_.config = site_.config;
    EXPECT_EQ(ReadConferenceTable(site_.config.ConfDir, &kit_.conferences).fault, kTableRead);
  }

  // The messages of a packet of echomail to conference 1 with these texts.
  static std::vector<MessageFacts> Judged(TossForecast* forecast, const std::vector<std::string>& texts) {
    std::vector<PacketMessage> messages;
    for (const std::string& text : texts) messages.emplace_back().text = text;
    const std::string packet = PacketBytes(messages);
    return forecast->JudgeFile("in/mail", reinterpret_cast<const uint8_t*>(packet.data()), packet.size())
        .packets.at(0)
        .messages;
  }

  static std::string Mail(const std::string& msgid, const std::string& reply = "") {
    return EchoText("GENERAL", msgid, (reply.empty() ? "" : "\x01REPLY: " + reply + "\r") + "Hello\r");
  }

  Site site_;
  KitSite kit_;
};

}  // namespace

TEST_F(Forecast, NumbersGoOnFromFileToFile) {
  TossForecast forecast(kit_);
  EXPECT_EQ(Judged(&forecast, {Mail("1:2/3 a"), Mail("")})[1].message_number, 3);
  EXPECT_EQ(Judged(&forecast, {Mail("1:2/3 b")})[0].message_number, 4);
}

TEST_F(Forecast, WhatWasAddedIsADuplicateLater) {
  TossForecast forecast(kit_);
  (void)Judged(&forecast, {Mail("1:2/3 a")});
  for (const char* msgid : {"1:2/3 old", "1:2/3 a"}) {
    const MessageFacts again = Judged(&forecast, {Mail(msgid)})[0];
    EXPECT_EQ(again.verdict, kVerdictDuplicate);
    EXPECT_EQ(again.message_number, std::string(msgid) == "1:2/3 a" ? 2 : 1);
  }
}

TEST_F(Forecast, RepliesFindParentsInTheBaseAndInWhatWasAdded) {
  TossForecast forecast(kit_);
  const std::vector<MessageFacts> messages =
      Judged(&forecast, {Mail("1:2/3 a", "1:2/3 old"), Mail("1:2/3 b", "1:2/3 a"), Mail("1:2/3 c", "1:2/3 gone")});
  EXPECT_EQ(messages[0].parent, 1);
  EXPECT_EQ(messages[1].parent, 2);
  EXPECT_FALSE(messages[2].parent.has_value());
}

TEST_F(Forecast, OnlyTheTextsAndBytesThatAreWantedAreKept) {
  TossForecast none(kit_);
  EXPECT_EQ(Judged(&none, {Mail("1:2/3 a")})[0].body + Judged(&none, {Mail("1:2/3 b")})[0].raw, "");
  TossForecast second(kit_, {2, 1});
  const std::vector<MessageFacts> messages = Judged(&second, {Mail("1:2/3 a"), Mail("1:2/3 b")});
  EXPECT_EQ(messages[0].body, "");
  EXPECT_EQ(messages[1].body, "Hello\n");
  EXPECT_EQ(messages[0].raw.size(), messages[0].size);
  EXPECT_EQ(messages[1].raw, "");
}

TEST_F(Forecast, AChangeOfAFileThatWasReadIsNoticed) {
  TossForecast forecast(kit_);
  EXPECT_FALSE(forecast.HasChanged());
  (void)Judged(&forecast, {Mail("1:2/3 a")});
  EXPECT_FALSE(forecast.HasChanged());
  site_.Base(1).Add(BaseMessage());
  EXPECT_TRUE(forecast.HasChanged());
}
