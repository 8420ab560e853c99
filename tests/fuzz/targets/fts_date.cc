// Dates of packed messages: each is converted to a date of the message base or left unchanged, and a date that this
// system has written is read back as the same date.
#include "ftn/fts_date.h"

#include <cstdio>

#include "fuzz/model/plain_text.h"
#include "fuzz/support/input.h"
#include "fuzz/support/rule.h"

namespace {

std::string Convert(const std::string& date_time) {
  const ExactCopy copy(date_time + '\0');
  char converted[kMessageBaseDateSize];
  ConvertFtsDate(reinterpret_cast<const char*>(copy.Data()), converted);
  return converted;
}

void CheckWrittenDate(const std::string& seed) {
  Input input(reinterpret_cast<const uint8_t*>(seed.data()), seed.size());
  OsCalendar when;
  when.year = 1990 + input.TakeByte() % 111;
  when.month = input.TakeByte() % 12;
  when.day = 1 + input.TakeByte() % 31;
  when.hour = input.TakeByte() % 24;
  when.minute = input.TakeByte() % 60;
  when.second = input.TakeByte() % 61;
  char written[kFtsDateSize];
  FormatFtsDate(when, written);
  char expected[64];
  (void)snprintf(expected, sizeof expected, "%02d/%02d/%02d %02d:%02d%s", when.month + 1, when.day, when.year % 100,
                 (when.hour + 11) % 12 + 1, when.minute, when.hour / 12 == 0 ? "am" : "pm");
  MustEqual(Convert(written), expected, "a date that is written reads back as the same date");
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string bytes = Input(data, size).TakeRest();
  const std::string date_time = UpToNul(bytes);
  const std::string converted = Convert(date_time);
  Must(converted.size() < kMessageBaseDateSize, "a converted date fits its field");
  MustEqual(converted, ConvertedDate(date_time), "a date converts as its numbers say, or is kept");
  CheckWrittenDate(bytes);
  return 0;
}
