#include "kit/mbox.h"

#include <gtest/gtest.h>

#include "base/fixed_text.h"

namespace {

StoredMessage Message() {
  StoredMessage message;
  CopyCut(message.header.From, "Ann \"the\\pen\" Author");
  CopyCut(message.header.To, "All");
  CopyCut(message.header.Subj, "Hello");
  CopyCut(message.header.MsgDate, "03/07/24 09:05pm");
  message.header.MsgNumber = message.header.ThreadRef = 7;
  return message;
}

std::string Written(const StoredMessage& message, const std::string& text) {
  ConferenceEntry conference;
  conference.Number = 3;
  return MboxMessage(conference, message, text, [](int32_t number) { return number == 5 ? "1:2/3 a" : ""; });
}

std::string BodyOf(const std::string& mail) { return mail.substr(mail.find("\n\n") + 2); }

std::string HeaderOf(const std::string& mail, const std::string& name) {
  const size_t at = mail.find("\n" + name + ": ");
  if (at == std::string::npos || at > mail.find("\n\n")) return "";
  const size_t from = at + name.size() + 3;
  return mail.substr(from, mail.find('\n', from) - from);
}

}  // namespace

TEST(Mbox, LinesThatCouldBeginAMessageAreQuoted) {
  EXPECT_EQ(BodyOf(Written(Message(), "From me\n>From you\n>>From us\nFrom:\n From it\nfrom\n>\n")),
            ">From me\n>>From you\n>>>From us\nFrom:\n From it\nfrom\n>\n\n");
}

TEST(Mbox, TheLastLineNeedsNoEnd) {
  EXPECT_EQ(BodyOf(Written(Message(), "one\nFrom two")), "one\n>From two\n\n");
  EXPECT_EQ(BodyOf(Written(Message(), "")), "\n");
}

// 998 bytes are the longest line of mail, and base64 is then needed for none of them.
TEST(Mbox, LongerLinesAreEncoded) {
  const std::string longest(998, 'x');
  EXPECT_EQ(BodyOf(Written(Message(), longest)), longest + "\n\n");
  EXPECT_EQ(HeaderOf(Written(Message(), longest), "Content-Transfer-Encoding"), "8bit");
  const std::string encoded = Written(Message(), longest + "x");
  EXPECT_EQ(HeaderOf(encoded, "Content-Transfer-Encoding"), "base64");
  EXPECT_EQ(BodyOf(encoded).find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/=\n"),
            std::string::npos);
}

TEST(Mbox, NamesAreQuotedAndDatesAreThoseOfTheBase) {
  const std::string mail = Written(Message(), "");
  EXPECT_EQ(mail.substr(0, mail.find('\n')), "From unknown@base.invalid Thu Mar  7 21:05:00 2024");
  EXPECT_EQ(HeaderOf(mail, "From"), "\"Ann \\\"the\\\\pen\\\" Author\" <unknown@from.invalid>");
  EXPECT_EQ(HeaderOf(mail, "Date"), "Thu, 07 Mar 2024 21:05:00 -0000");
}

TEST(Mbox, AReplyNamesItsParent) {
  StoredMessage reply = Message();
  reply.header.IsReply = true;
  reply.header.ThreadRef = 5;
  EXPECT_EQ(HeaderOf(Written(reply, ""), "In-Reply-To"), "<1%3A2/3%20a@msgid.invalid>");
  reply.header.ThreadRef = 6;
  EXPECT_EQ(HeaderOf(Written(reply, ""), "In-Reply-To"), "<3.6@base.invalid>");
  EXPECT_EQ(HeaderOf(Written(Message(), ""), "In-Reply-To"), "");
}
