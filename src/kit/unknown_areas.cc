#include "kit/unknown_areas.h"

#include <algorithm>
#include <map>
#include <string_view>

#include "kit/kit_output.h"
#include "kit/site_files.h"

namespace {

constexpr size_t kAreaStampSize = 19;

}  // namespace

// Each line is a stamp, two blanks and a tag as it came.
std::vector<UnknownArea> ReadUnknownAreas(const KitSite& site) {
  BasePath path;
  ByteBuffer content;
  if (FormatBadAreasPath(site.Base(), &path) != 0 || !ReadSiteFile(path.text, &content) || content.size == 0) return {};
  std::string_view text(reinterpret_cast<const char*>(content.data), content.size);
  std::map<std::string_view, UnknownArea> found;
  while (!text.empty()) {
    const size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (line.size() <= kAreaStampSize + 2) continue;
    const std::string_view tag = line.substr(kAreaStampSize + 2);
    UnknownArea& area = found[tag];
    if (area.messages++ == 0) {
      area.tag = DecodedMail(tag);
      area.first = ShownMail(line.substr(0, kAreaStampSize));
    }
    area.last = ShownMail(line.substr(0, kAreaStampSize));
  }
  std::vector<UnknownArea> areas;
  areas.reserve(found.size());
  for (auto& [tag, area] : found) areas.push_back(std::move(area));
  return areas;
}
