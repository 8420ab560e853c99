// The message base builder must write what the format says, or no test that uses it would prove anything.
#include "unit/support/message_base.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include "unit/support/site.h"
#include "unit/support/test_files.h"

TEST(MessageBaseBuilder, WhatIsAddedIsReadBack) {
  const Site site;
  const TestMessageBase base = site.Base(1);
  BaseMessage first;
  first.body = std::string(254, 'x');
  first.msgid = "1:2/3 0a";
  base.Add(first);
  BaseMessage second;
  second.body = "";
  second.number = 10;
  base.Add(second);
  const std::vector<BaseMessage> messages = base.Read();
  ASSERT_EQ(messages.size(), 2U);
  EXPECT_EQ(messages[0].body, first.body);
  EXPECT_EQ(messages[0].records, 2);
  EXPECT_EQ(messages[0].number, 1);
  EXPECT_EQ(messages[0].msgid, "1:2/3 0a");
  EXPECT_EQ(messages[1].where, 2);
  EXPECT_EQ(messages[1].records, 1);
  EXPECT_EQ(messages[1].thread_ref, 10);
  EXPECT_EQ(base.Bytes().at("SIG"), "1:2/3 0a\t1\n");
}

TEST(MessageBaseBuilder, APartOfAMessageIsNoticed) {
  for (const char* kind : {"PTR", "IDX", "DAT", "SIG"}) {
    const Site site;
    const TestMessageBase base = site.Base(1);
    BaseMessage message;
    message.msgid = "1:2/3 0a";
    base.Add(message);
    const std::string whole = ReadFile(base.Path(kind));
    EXPECT_NONFATAL_FAILURE(
        {
          WriteFile(base.Path(kind), whole.substr(0, whole.size() - 1));
          testing::TestPartResultArray failures;
          {
            const testing::ScopedFakeTestPartResultReporter reporter(&failures);
            (void)base.Read();
          }
          EXPECT_EQ(failures.size(), 0);
        },
        "failures.size()");
  }
}
