#include "toss/inbound_text.h"

#include <cstring>

#include "toss/packet_toss.h"
#include "unit/support/site_fixture.h"

namespace {

class InboundText : public SiteFixture {
 protected:
  // Parses a copy of exactly its own size, so that a sanitizer notices any read beyond it.
  bool Parse(const std::string& text) {
    ClearInboundMessage(&message_);
    const std::vector<char> exact(text.begin(), text.end());
    const ParsedText parsed = ParseInboundText(exact.data(), exact.size(), &message_);
    ReportTextFault(parsed);
    return parsed.fault == kTextSound;
  }

  std::string Body() const { return {reinterpret_cast<const char*>(message_.body.data), message_.body.size}; }

  void ExpectBody(const std::string& text, const std::string& body) {
    EXPECT_TRUE(Parse(text)) << ToHex(text);
    EXPECT_EQ(ToHex(Body()), ToHex(body)) << ToHex(text);
  }

  void ExpectRefused(const std::string& text, const std::string& line) {
    EXPECT_FALSE(Parse(text)) << text.substr(0, 100);
    EXPECT_EQ(TakeLines(), Strings{line});
  }

  InboundMessage message_;
};

using InboundLines = InboundText;
using InboundArea = InboundText;
using InboundKludges = InboundText;
using InboundCharset = InboundText;

std::string BadTag(const std::string& tag) {
  return "ERROR: inbound AREA tag is empty, malformed, or too long: '" + tag + "'";
}

}  // namespace

// Lines.

TEST_F(InboundLines, AWholeMessageTakenApart) {
  EXPECT_TRUE(Parse("AREA:  Fido_Tech \r\x01MSGID: 1:2/3 abcd\rHello\r\rBye"));
  EXPECT_STREQ(message_.area, "Fido_Tech");
  EXPECT_STREQ(message_.msgid, "1:2/3 abcd");
  EXPECT_STREQ(message_.reply, "");
  EXPECT_EQ(ToHex(Body()), ToHex("Hello\x01\x01"
                                 "Bye\x01"));
  EXPECT_EQ(TakeLines(), Strings{});
}

TEST_F(InboundLines, CrLfAndEitherPairEndOneLine) {
  for (const char* end : {"\r", "\n", "\r\n", "\n\r"}) {
    ExpectBody(std::string("a") + end + "b" + end,
               "a\x01"
               "b\x01");
    ExpectBody(std::string("a") + end + end + "b",
               "a\x01\x01"
               "b\x01");
    ExpectBody(end, "\x01");
  }
}

TEST_F(InboundLines, MixedEndsAreTakenPairByPair) {
  ExpectBody("a\r\r\nb",
             "a\x01\x01"
             "b\x01");  // CR, CR LF
  ExpectBody("a\r\n\rb",
             "a\x01\x01"
             "b\x01");  // CR LF, CR
  ExpectBody("a\n\r\nb",
             "a\x01\x01"
             "b\x01");  // LF CR, LF
  ExpectBody("a\n\nb",
             "a\x01\x01"
             "b\x01");  // LF, LF
  ExpectBody("a\r\n\r\nb",
             "a\x01\x01"
             "b\x01");
}

TEST_F(InboundLines, AnEmptyTextHasNoLines) { ExpectBody("", ""); }

TEST_F(InboundLines, ALineWithoutAnEndIsKeptAndAnEndOpensNoFurtherLine) {
  ExpectBody("a", "a\x01");
  ExpectBody("a\r", "a\x01");
  ExpectBody("a\r\n", "a\x01");
}

TEST_F(InboundLines, TearOriginAndBlankLinesAreKept) {
  ExpectBody("--- X\r * Origin: here (1:2/3)\r \r", "--- X\x01 * Origin: here (1:2/3)\x01 \x01");
}

TEST_F(InboundLines, ALineOf65536BytesIsTheLongest) {
  const std::string longest(65536, 'x');
  ExpectBody("a\r" + longest + "\rb", "a\x01" + longest + "\x01" + "b\x01");
  ExpectBody(longest, longest + "\x01");
  ExpectRefused("a\r" + longest + "x\rb", "ERROR: inbound logical line is 65537 bytes; safety limit is 65536");
  ExpectRefused(std::string(100000, 'x'), "ERROR: inbound logical line is 100000 bytes; safety limit is 65536");
}

TEST_F(InboundLines, TheLimitHoldsForLinesThatAreNotStoredToo) {
  for (const char* start : {"AREA:", "\x01PID: ", "SEEN-BY: "}) {
    ExpectRefused(start + std::string(65537 - strlen(start), 'x'),
                  "ERROR: inbound logical line is 65537 bytes; safety limit is 65536");
  }
  ExpectBody("\x01PID: " + std::string(65536 - 6, 'x'), "");
}

// The time for a text must grow with its size, not with its size times its lines: if a text with one kind of line end
// were searched to its end for the other kind, for every line, a run could take hours.
TEST_F(InboundLines, MillionsOfLinesOfAnyEndAreReadAtOneGo) {
  constexpr size_t kLines = 2u << 20;
  for (const char* end : {"\r", "\n"}) {
    for (const char* last : {"", "z", "z\r"}) {
      std::string text(kLines, *end);
      std::string expected(kLines, '\x01');
      text += last;
      if (*last != '\0') expected += "z\x01";
      ASSERT_TRUE(Parse(text));
      EXPECT_TRUE(Body() == expected) << ToHex(end) << ' ' << ToHex(last);
    }
  }
}

TEST_F(InboundLines, RoutingLinesAreDroppedAtTheFirstColumnInAnyCase) {
  for (const char* dropped : {"SEEN-BY: 1/2", "seen-by: 1/2", "Seen-By:", "PATH: 1/2", "path:1/2", "Path:"}) {
    ExpectBody(std::string("a\r") + dropped + "\rb",
               "a\x01"
               "b\x01");
  }
  for (const char* kept :
       {" SEEN-BY: 1/2", " path: 1/2", "SEEN-BY", "SEEN-BY 1/2", "PATH", "PATHS:", "XPATH:", "SEEN-BYE:"}) {
    ExpectBody(std::string("a\r") + kept + "\rb", std::string("a\x01") + kept +
                                                      "\x01"
                                                      "b\x01");
  }
}

TEST_F(InboundLines, ARoutingLineMayBeTheFirst) { ExpectBody("SEEN-BY: 1/2\rb", "b\x01"); }

TEST_F(InboundLines, NoMemoryIsARefusalWithoutALine) {
  door_.FailNth(Call::kReallocate, 1);
  EXPECT_FALSE(Parse("hello"));
  EXPECT_TRUE(door_.HasStruck());
  EXPECT_EQ(TakeLines(), Strings{});
}

TEST_F(InboundLines, TheBodyIsClearedForEachText) {
  ExpectBody("a long first text\r", "a long first text\x01");
  ExpectBody("b", "b\x01");
}

// The area.

TEST_F(InboundArea, TheFirstLineNamesItInAnyCase) {
  for (const char* word : {"AREA:", "area:", "Area:"}) {
    ExpectBody(std::string(word) + "Fido\rtext", "text\x01");
    EXPECT_STREQ(message_.area, "Fido");
  }
}

TEST_F(InboundArea, BlanksAroundTheTagAreRemoved) {
  struct Case {
    const char* line;
    const char* tag;
  };
  for (const Case& c : {Case{"AREA:X", "X"}, Case{"AREA:   X", "X"}, Case{"AREA:X \t \t", "X"}, Case{"AREA:*", "*"},
                        Case{"AREA: * ", "*"}, Case{"AREA:**", "**"}, Case{"AREA:fido_tech", "fido_tech"},
                        Case{"AREA:\x80\xFF", "\x80\xFF"}, Case{"AREA:!~", "!~"}}) {
    ExpectBody(c.line, "");
    EXPECT_STREQ(message_.area, c.tag);
  }
}

TEST_F(InboundArea, ATagHasAtMost31Characters) {
  const std::string longest(31, 'T');
  ExpectBody("AREA:" + longest, "");
  EXPECT_EQ(std::string(message_.area), longest);
  ExpectRefused("AREA:" + longest + "T", BadTag(longest + "T"));
}

TEST_F(InboundArea, MalformedTagsAreRefused) {
  struct Case {
    const char* line;
    const char* tag;
  };
  for (const Case& c :
       {Case{"AREA:", ""}, Case{"AREA:  \t", ""}, Case{"AREA:FOO BAR", "FOO BAR"}, Case{"AREA:A:B", "A:B"},
        Case{"AREA: :", ":"}, Case{"AREA:A\x7F", "A\x7F"}, Case{"AREA:A\tB", "A\tB"}, Case{"AREA:\tA", "\tA"},
        Case{"AREA:A\x1F", "A\x1F"}, Case{"AREA:* *", "* *"}}) {
    ExpectRefused(std::string(c.line) + "\rtext", BadTag(c.tag));
    EXPECT_STREQ(message_.area, "");
  }
}

TEST_F(InboundArea, ALongTagIsCutToWhatFitsALogLine) {
  const std::string start = "ERROR: inbound AREA tag is empty, malformed, or too long: '";
  ExpectRefused("AREA:" + std::string(5000, 'T'), start + std::string(1023 - start.size(), 'T'));
}

TEST_F(InboundArea, OnlyTheFirstLineCounts) {
  ExpectBody("\x01PID: x\rAREA:X\rtext", "AREA:X\x01text\x01");
  EXPECT_STREQ(message_.area, "");
  ExpectBody("\rAREA:X",
             "\x01"
             "AREA:X\x01");
  EXPECT_STREQ(message_.area, "");
  ExpectBody("AREA:X\rAREA:Y Z", "AREA:Y Z\x01");
  EXPECT_STREQ(message_.area, "X");
}

TEST_F(InboundArea, WhatOnlyResemblesAnAreaLineIsText) {
  for (const char* line : {"AREA", "AREA X", " AREA:X", "AREAS:X", "ARE:"}) {
    ExpectBody(line, std::string(line) + "\x01");
    EXPECT_STREQ(message_.area, "");
  }
}

// Kludges.

TEST_F(InboundKludges, TheThreeValuesAreTaken) {
  ExpectBody(
      "\x01MSGID: 1:2/3 a\r\x01REPLY: 1:2/3 b\r\x01"
      "CHRS: LATIN-1 2\rtext",
      "text\x01");
  EXPECT_STREQ(message_.msgid, "1:2/3 a");
  EXPECT_STREQ(message_.reply, "1:2/3 b");
  EXPECT_STREQ(message_.charset, "LATIN-1 2");
}

TEST_F(InboundKludges, KeywordsAreRecognisedInAnyCaseAndAnyPlace) {
  ExpectBody(
      "text\r\x01msgid: A\r\x01Reply: B\rmore\r\x01"
      "chrs: C",
      "text\x01more\x01");
  EXPECT_STREQ(message_.msgid, "A");
  EXPECT_STREQ(message_.reply, "B");
  EXPECT_STREQ(message_.charset, "C");
}

TEST_F(InboundKludges, LeadingBlanksGoAndTrailingOnesStay) {
  struct Case {
    const char* line;
    const char* value;
  };
  for (const Case& c : {Case{"\x01MSGID:x", "x"}, Case{"\x01MSGID:   x  y ", "x  y "}, Case{"\x01MSGID:", ""},
                        Case{"\x01MSGID:   ", ""}, Case{"\x01MSGID:\tx", "\tx"}}) {
    ExpectBody(c.line, "");
    EXPECT_STREQ(message_.msgid, c.value);
  }
}

TEST_F(InboundKludges, ARepeatedKludgeReplacesTheEarlierValue) {
  ExpectBody("\x01MSGID: first\r\x01MSGID: second", "");
  EXPECT_STREQ(message_.msgid, "second");
  ExpectBody("\x01REPLY: first\r\x01REPLY:", "");
  EXPECT_STREQ(message_.reply, "");
}

TEST_F(InboundKludges, AllOthersAreDroppedWithoutATrace) {
  for (const char* line :
       {"\x01", "\x01PID: x", "\x01PATH: 1/2", "\x01Via 1:2/3", "\x01 MSGID: x", "\x01MSGID", "\x01MSGIDS: x",
        "\x01"
        "CHRS x",
        "\x01"
        "AREA:X",
        "\x01\x01MSGID: x"}) {
    ExpectBody(std::string(line) + "\rtext", "text\x01");
    EXPECT_STREQ(message_.msgid, "") << line;
    EXPECT_STREQ(message_.charset, "") << line;
    EXPECT_STREQ(message_.area, "") << line;
  }
}

TEST_F(InboundKludges, ALineEndByteWithinALineIsText) { ExpectBody("a\x01MSGID: x", "a\x01MSGID: x\x01"); }

TEST_F(InboundKludges, EachValueHasItsLimit) {
  struct Case {
    const char* name;
    size_t limit;
    const char* kept;
  };
  for (const Case& c :
       {Case{"CHRS", 31, message_.charset}, Case{"MSGID", 127, message_.msgid}, Case{"REPLY", 127, message_.reply}}) {
    const std::string longest(c.limit, 'v');
    const std::string limit = std::to_string(c.limit);
    const std::string start = std::string("\x01") + c.name + ":  ";
    ExpectBody(start + longest + "\rtext", "text\x01");
    EXPECT_EQ(c.kept, longest) << c.name;
    ExpectRefused(start + longest + "v\rtext", std::string("ERROR: inbound ") + c.name + " value is too long (" +
                                                   std::to_string(c.limit + 1) + " bytes; maximum " + limit + ")");
    ExpectRefused(start + longest + " ", std::string("ERROR: inbound ") + c.name + " value is too long (" +
                                             std::to_string(c.limit + 1) + " bytes; maximum " + limit + ")");
    ExpectRefused(start + std::string(9999, 'v'),
                  std::string("ERROR: inbound ") + c.name + " value is too long (9999 bytes; maximum " + limit + ")");
  }
}

TEST_F(InboundKludges, TheFirstFaultIsTheOneThatIsLogged) {
  ExpectRefused("AREA:A B\r\x01MSGID: " + std::string(128, 'v') + "\r" + std::string(65537, 'x'), BadTag("A B"));
}

// Character sets.

TEST_F(InboundCharset, Utf8BodiesBecomeCodePage437) {
  for (const char* value : {"UTF-8 4", "UTF-8", "utf-8 2", "Utf-8x"}) {
    ExpectBody(std::string("\x01"
                           "CHRS: ") +
                   value + "\r\xC3\xA9\r",
               "\x82\x01");
  }
}

TEST_F(InboundCharset, TheKludgeMayComeAfterTheText) {
  ExpectBody(
      "\xC3\xA9\r\x01"
      "CHRS: UTF-8 4",
      "\x82\x01");
}

TEST_F(InboundCharset, AllOthersAreStoredAsTheyArrived) {
  for (const char* value : {"LATIN-1 2", "CP437 2", "UTF8 4", "UTF-16", "UTF-", "x UTF-8", ""}) {
    ExpectBody(std::string("\x01"
                           "CHRS: ") +
                   value + "\r\xC3\xA9\r",
               "\xC3\xA9\x01");
  }
  ExpectBody("\xC3\xA9", "\xC3\xA9\x01");
  ExpectBody(
      "\x01"
      "CHRS: UTF-8\r\x01"
      "CHRS: CP437 2\r\xC3\xA9",
      "\xC3\xA9\x01");
}

TEST_F(InboundCharset, ASequenceDoesNotReachAcrossTheEndOfALine) {
  ExpectBody(
      "\x01"
      "CHRS: UTF-8 4\ra\xC3\rb\xE2\x80\xA6\xF0\x9F\x98\x80\xC3",
      "a?\x01"
      "b.??\x01");
}

// The record.

TEST(InboundRecord, IsClearedForTheNextMessage) {
  InboundMessage message;
  for (char* text : {message.dateTime, message.toUserName, message.fromUserName, message.subject, message.origin,
                     message.area, message.charset, message.msgid, message.reply}) {
    text[0] = 'x';
  }
  message.attribute = 1;
  ASSERT_EQ(AppendBytes(&message.body, "x", 1), 0);
  ClearInboundMessage(&message);
  for (const char* text : {message.dateTime, message.toUserName, message.fromUserName, message.subject, message.origin,
                           message.area, message.charset, message.msgid, message.reply}) {
    EXPECT_STREQ(text, "");
  }
  EXPECT_EQ(message.attribute, 0);
  EXPECT_EQ(message.body.size, 0U);
}
