#include "kit/capacity.h"

#include <algorithm>

#include "bbs/base_files.h"
#include "bbs/records.h"
#include "kit/log_period.h"
#include "kit/shown_facts.h"
#include "kit/site_files.h"
#include "platform/os.h"

namespace {

constexpr int64_t kRateDays = 90;
constexpr int64_t kFarDays = 3650;

}  // namespace

std::string FullOn(const KitSite& site, int32_t conference, int64_t records) {
  BasePath path;
  ByteBuffer content;
  if (FormatBasePath(site.Base(), conference, "PTR", &path) != 0 || !ReadSiteFile(path.text, &content)) return {};
  const std::string since = DayOf(OsNow() - kRateDays * kDaySeconds);
  int64_t grown = 0;
  for (size_t at = 0; content.size - at >= kPtrRecordSize; at += kPtrRecordSize) {
    const PtrRecord record = UnpackPtrRecord(content.data + at);
    const std::string date = IsoDate(record.MsgDate);
    if (date.size() > 10 && date[10] == 'T' && date >= since) grown += record.Records;
  }
  const int64_t left = std::max<int64_t>(kMostDatRecords - records, 0);
  if (grown == 0 || left / grown > kFarDays / kRateDays) return {};
  return DayOf(OsNow() + left * kRateDays / grown * kDaySeconds);
}
