#include "ftn/fts_date.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

std::string ConvertDate(const std::string& date_time) {
  char converted[kMessageBaseDateSize];
  memset(converted, 'Z', sizeof converted);
  ConvertFtsDate(date_time.c_str(), converted);
  EXPECT_NE(memchr(converted, '\0', sizeof converted), nullptr);
  return converted;
}

// A date of nothing but a year: what the result says of it, "kept" when it was refused.
std::string YearOf(const std::string& year) {
  const std::string result = ConvertDate("05 Jan " + year + " 10:00:00");
  return result.size() == 16 && result[2] == '/' && result[5] == '/' ? result.substr(6, 2) : "kept";
}

}  // namespace

TEST(ConvertFtsDate, TheUsualForm) { EXPECT_EQ(ConvertDate("05 Jan 25  00:07:59"), "01/05/25 12:07am"); }

TEST(ConvertFtsDate, AFullYearAndALeapSecond) { EXPECT_EQ(ConvertDate("31 Dec 1999 23:59:60"), "12/31/99 11:59pm"); }

TEST(ConvertFtsDate, AnUnknownMonthKeepsTheFirst17Characters) {
  EXPECT_EQ(ConvertDate("5 Foo 25 10:00:00"), "5 Foo 25 10:00:00");
  EXPECT_EQ(ConvertDate("05 Foo 25  10:00:00"), "05 Foo 25  10:00:");
}

TEST(ConvertFtsDate, AKeptTextOf16Or17Or18CharactersIsCutAt17) {
  EXPECT_EQ(ConvertDate("0123456789abcdef"), "0123456789abcdef");
  EXPECT_EQ(ConvertDate("0123456789abcdefg"), "0123456789abcdefg");
  EXPECT_EQ(ConvertDate("0123456789abcdefgh"), "0123456789abcdefg");
  EXPECT_EQ(ConvertDate(std::string(63, 'x')), std::string(17, 'x'));
  EXPECT_EQ(ConvertDate(""), "");
}

TEST(ConvertFtsDate, EveryMonthHasItsNumberInAnyCase) {
  const char* const names[] = {"Jan", "FEB", "mar", "aPr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  for (int month = 1; month <= 12; ++month) {
    const std::string number = (month < 10 ? "0" : "") + std::to_string(month);
    EXPECT_EQ(ConvertDate(std::string("09 ") + names[month - 1] + " 25  10:11:12"), number + "/09/25 10:11am");
  }
}

TEST(ConvertFtsDate, AMonthNameMustEqualItsThreeLetters) {
  for (const char* month : {"January", "Ja", "Janu", "1", "Januarys", "J"}) {
    const std::string text = std::string("1 ") + month + " 25 1:2:3";
    EXPECT_EQ(ConvertDate(text), text.substr(0, 17)) << month;
  }
}

TEST(ConvertFtsDate, TheTwelveHourClock) {
  const auto at = [](const char* hour) { return ConvertDate(std::string("05 Jan 25  ") + hour + ":30:00").substr(9); };
  EXPECT_EQ(at("00"), "12:30am");
  EXPECT_EQ(at("01"), "01:30am");
  EXPECT_EQ(at("11"), "11:30am");
  EXPECT_EQ(at("12"), "12:30pm");
  EXPECT_EQ(at("13"), "01:30pm");
  EXPECT_EQ(at("23"), "11:30pm");
}

TEST(ConvertFtsDate, EachNumberHasItsRange) {
  EXPECT_EQ(ConvertDate("1 Jan 25 10:00:00"), "01/01/25 10:00am");
  EXPECT_EQ(ConvertDate("31 Feb 25 10:00:0"), "02/31/25 10:00am");  // not checked against the month
  EXPECT_EQ(ConvertDate("1 Jan 25 23:59:60"), "01/01/25 11:59pm");
  for (const char* refused :
       {"0 Jan 25 10:00:00", "32 Jan 25 10:00:0", "-1 Jan 25 10:00:0", "1 Jan 25 24:00:00", "1 Jan 25 -1:00:00",
        "1 Jan 25 10:60:00", "1 Jan 25 10:-1:00", "1 Jan 25 10:00:61", "1 Jan 25 10:00:-1", "1 Jan -1 10:00:00"}) {
    EXPECT_EQ(ConvertDate(refused), refused);
  }
}

TEST(ConvertFtsDate, AYearOfAHundredOrMoreIsReduced) {
  EXPECT_EQ(YearOf("0"), "00");
  EXPECT_EQ(YearOf("5"), "05");
  EXPECT_EQ(YearOf("99"), "99");
  EXPECT_EQ(YearOf("100"), "00");
  EXPECT_EQ(YearOf("101"), "01");
  EXPECT_EQ(YearOf("1999"), "99");
  EXPECT_EQ(YearOf("2000"), "00");
  EXPECT_EQ(YearOf("2147483647"), "47");
}

TEST(ConvertFtsDate, NumbersBeyond32BitsAreClampedBeforeTheirRangeIsChecked) {
  EXPECT_EQ(YearOf("99999999999999999999"), "47");  // as 2147483647
  EXPECT_EQ(YearOf("-99999999999"), "kept");
  EXPECT_EQ(ConvertDate("4294967297 Jan 25 10:00:00"), "4294967297 Jan 25");  // not the 1st
  EXPECT_EQ(ConvertDate("1 Jan 25 4294967297:00:00"), "1 Jan 25 42949672");
}

TEST(ConvertFtsDate, AllSixMustBeRead) {
  for (const char* text : {"05", "05 Jan", "05 Jan 25", "05 Jan 25 10", "05 Jan 25 10:00", "05 Jan 25 10:00:",
                           "x5 Jan 25 10:00", "05 Jan 25 10.00.0", "05 Jan xx 10:00:0", "5 Jan 25 10:00 00"}) {
    EXPECT_EQ(ConvertDate(text), std::string(text).substr(0, 17));
  }
}

TEST(ConvertFtsDate, AnyWhiteSpaceOrNoneSeparatesWherePatternAllowsIt) {
  EXPECT_EQ(ConvertDate(" \t05\tJan \n 25 \t 00: 07:\t59"), "01/05/25 12:07am");
  EXPECT_EQ(ConvertDate("05Jan 25 00:07:59"), "01/05/25 12:07am");
  EXPECT_EQ(ConvertDate("05 Jan25 00:07:59"), "05 Jan25 00:07:59");  // one word, Jan25
  EXPECT_EQ(ConvertDate("5 Jan 25 0 :07:59"), "5 Jan 25 0 :07:59");
}

TEST(ConvertFtsDate, SignsAndTrailingTextAreAccepted) {
  EXPECT_EQ(ConvertDate("+5 Jan +25 +0:+7:+59"), "01/05/25 12:07am");
  EXPECT_EQ(ConvertDate("05 Jan 25  00:07:59 GMT"), "01/05/25 12:07am");
  EXPECT_EQ(ConvertDate("05 Jan 25  00:07:59:99"), "01/05/25 12:07am");
}

TEST(FormatFtsDate, TwoDigitsEachAndTwoBlanksBeforeTheHour) {
  OsCalendar when;
  when.year = 2007;
  when.month = 0;
  when.day = 5;
  when.hour = 9;
  when.minute = 4;
  when.second = 3;
  char text[kFtsDateSize];
  FormatFtsDate(when, text);
  EXPECT_STREQ(text, "05 Jan 07  09:04:03");
}

TEST(FormatFtsDate, EveryMonthHasItsName) {
  const char* const names[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  for (int month = 0; month < 12; ++month) {
    OsCalendar when;
    when.year = 1999;
    when.month = month;
    when.day = 31;
    when.hour = 23;
    when.minute = 59;
    when.second = 60;
    char text[kFtsDateSize];
    FormatFtsDate(when, text);
    EXPECT_EQ(std::string(text), std::string("31 ") + names[month] + " 99  23:59:60");
  }
}

TEST(FormatFtsDate, TheYear2100IsTwoZeros) {
  OsCalendar when;
  when.year = 2100;
  when.day = 1;
  char text[kFtsDateSize];
  FormatFtsDate(when, text);
  EXPECT_STREQ(text, "01 Jan 00  00:00:00");
}
