#include "kit/log_period.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <string_view>

#include "base/scan_number.h"
#include "kit/kit_answer.h"
#include "kit/kit_output.h"
#include "platform/os.h"

namespace {

constexpr std::string_view kForm = "0000-00-00 00:00:00";

// Returns the date that many days ago. It counts from noon, so that a day of 23 or 25 hours does not matter.
std::string DateBefore(int32_t days) {
  OsCalendar now;
  OsCalendar then;
  const int64_t time = OsNow();
  if (OsLocalTime(time, &now) != 0 || OsLocalTime(time + (12 - now.hour) * 60 * 60 - days * kDaySeconds, &then) != 0)
    return "";
  return fmt::format("{:04}-{:02}-{:02}", then.year, then.month + 1, then.day);
}

bool IsBeginningOfStamp(const std::string& text) {
  if (text.size() != 10 && text.size() != 16 && text.size() != kForm.size()) return false;
  for (size_t i = 0; i < text.size(); ++i) {
    const bool digit = text[i] >= '0' && text[i] <= '9';
    if (kForm[i] == '0' ? !digit : text[i] != kForm[i]) return false;
  }
  return true;
}

}  // namespace

std::string StampPrefix(const std::string& typed) {
  std::string text = typed;
  if (text == "today") return DateBefore(0);
  if (text == "yesterday") return DateBefore(1);
  const char* at = text.c_str();
  int32_t days = 0;
  constexpr int32_t kMostDays = 99999;
  if (ScanInt32(&at, &days) && std::string_view(at) == "d" && days >= 0 && days <= kMostDays) return DateBefore(days);
  if (text.size() > 10 && text[10] == 'T') text[10] = ' ';
  if (!IsBeginningOfStamp(text)) throw NotAnswered("this is no date: " + ShownName(typed));
  return text;
}

std::string StampOf(int64_t when) {
  OsCalendar local;
  if (OsLocalTime(when, &local) != 0) return {};
  return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02}", local.year, local.month + 1, local.day, local.hour,
                     local.minute, local.second);
}

std::string DayOf(int64_t when) { return StampOf(when).substr(0, 10); }

int64_t SecondsOfStamp(const std::string& stamp) {
  std::tm time = {};
  if (sscanf(stamp.c_str(), "%4d-%2d-%2d %2d:%2d:%2d", &time.tm_year, &time.tm_mon, &time.tm_mday, &time.tm_hour,
             &time.tm_min, &time.tm_sec) != 6) {
    return 0;
  }
  time.tm_year -= 1900;
  time.tm_mon -= 1;
  time.tm_isdst = -1;
  return std::max<int64_t>(mktime(&time), 0);
}
