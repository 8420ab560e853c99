#include "fuzz/model/plain_text.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

std::vector<std::string> ReadLines(const std::string& content, size_t buffer) {
  std::vector<std::string> lines;
  for (size_t at = 0; at < content.size();) {
    const size_t line_end = std::min(content.find('\n', at), content.size() - 1) + 1;
    const size_t end = std::min(line_end, at + buffer - 1);
    lines.emplace_back(content.substr(at, end - at).c_str());
    at = end;
  }
  return lines;
}

std::string TrimmedEnd(std::string text, const char* which) {
  while (!text.empty() && text.back() != '\0' && strchr(which, text.back()) != nullptr) text.pop_back();
  return text;
}

std::string TrimmedStart(const std::string& text, const char* which) {
  return text.substr(std::min(text.size(), text.find_first_not_of(which)));
}

std::string Capitals(std::string text) {
  for (char& c : text) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
  }
  return text;
}

bool BeginsWith(const std::string& text, const std::string& capitals) {
  return Capitals(text.substr(0, capitals.size())) == capitals;
}

bool ReadNumber(const char** at, int32_t* value) {
  char* end = nullptr;
  const long long number = strtoll(*at, &end, 10);
  if (end == *at) return false;
  *value = static_cast<int32_t>(std::clamp<long long>(number, INT32_MIN, INT32_MAX));
  *at = end;
  return true;
}

bool ReadAfter(char separator, const char** at, int32_t* value) {
  if (**at != separator) return false;
  ++*at;
  return ReadNumber(at, value);
}

int32_t NumberAtStart(const std::string& text) {
  int32_t value = 0;
  const char* at = text.c_str();
  return ReadNumber(&at, &value) ? value : 0;
}

int ReadAddress(const std::string& text, int32_t (&numbers)[4]) {
  const char* at = text.c_str();
  if (!ReadNumber(&at, &numbers[0])) return 0;
  for (int i = 1; i < 4; ++i) {
    if (!ReadAfter(":/."[i - 1], &at, &numbers[i])) return i;
  }
  return 4;
}

std::string ConvertedDate(const std::string& date_time) {
  const std::string kept = date_time.substr(0, 17);
  const char* at = date_time.c_str();
  int32_t day = 0;
  if (!ReadNumber(&at, &day) || day < 1 || day > 31) return kept;
  at += strspn(at, " \t\n\v\f\r");
  const std::string word(at, std::min<size_t>(7, strcspn(at, " \t\n\v\f\r")));
  at += word.size();
  constexpr char kMonths[] = "JANFEBMARAPRMAYJUNJULAUGSEPOCTNOVDEC";
  const size_t month = std::string(kMonths).find(Capitals(word));
  if (word.size() != 3 || month == std::string::npos || month % 3 != 0) return kept;
  int32_t year = 0;
  int32_t hour = 0;
  int32_t minute = 0;
  int32_t second = 0;
  if (!ReadNumber(&at, &year) || !ReadNumber(&at, &hour) || !ReadAfter(':', &at, &minute) ||
      !ReadAfter(':', &at, &second)) {
    return kept;
  }
  const bool believable =
      year >= 0 && hour >= 0 && hour <= 23 && minute >= 0 && minute <= 59 && second >= 0 && second <= 60;
  if (!believable) return kept;
  constexpr int kClock[24] = {12, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
  char converted[64];
  (void)snprintf(converted, sizeof converted, "%02d/%02d/%02d %02d:%02d%s", static_cast<int>(month / 3 + 1), day,
                 year % 100, kClock[hour], minute, hour >= 12 ? "pm" : "am");
  return converted;
}
