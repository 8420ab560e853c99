#include "kit/report_svg.h"

#include <algorithm>

#include "kit/html_text.h"

namespace {

constexpr int64_t kStep = 100;     // units from one bar of a strip to the next
constexpr int64_t kBarWidth = 76;  // of these
constexpr int64_t kStripHeight = 1000;
constexpr int64_t kLeastHeight = 40;
constexpr int64_t kBarLength = 10000;
constexpr int64_t kLeastLength = 60;
constexpr int64_t kBarHeight = 100;

std::string Attribute(const char* name, int64_t value) {
  return std::string(" ") + name + "=\"" + std::to_string(value) + "\"";
}

std::string Open(const char* style, const std::string& label, int64_t width, int64_t height) {
  return std::string("<svg class=\"") + style + "\" viewBox=\"0 0 " + std::to_string(width) + " " +
         std::to_string(height) + "\" preserveAspectRatio=\"none\" role=\"img\" aria-label=\"" + Html(label) +
         "\"><title>" + Html(label) + "</title>";
}

std::string Rect(const std::string& style, int64_t x, int64_t y, int64_t width, int64_t height,
                 const std::string& title) {
  std::string rect = "<rect";
  if (!style.empty()) rect += " class=\"" + style + "\"";
  rect += Attribute("x", x) + Attribute("y", y) + Attribute("width", width) + Attribute("height", height);
  return rect + (title.empty() ? "/>" : "><title>" + Html(title) + "</title></rect>");
}

std::string Line(int64_t x1, int64_t y1, int64_t x2, int64_t y2) {
  return "<line" + Attribute("x1", x1) + Attribute("y1", y1) + Attribute("x2", x2) + Attribute("y2", y2) + "/>";
}

}  // namespace

std::string DrawStrip(const std::string& label, const std::vector<StripBar>& bars) {
  const int64_t width = kStep * static_cast<int64_t>(bars.size());
  int64_t most = 1;
  for (const StripBar& bar : bars) most = std::max(most, bar.value);
  std::string svg = Open("strip", label, width, kStripHeight);
  int64_t x = 0;
  std::string drawn;
  for (const StripBar& bar : bars) {
    if (bar.mark) svg += Line(x, 0, x, kStripHeight);
    const int64_t height = std::max(bar.value * kStripHeight / most, kLeastHeight);
    if (bar.value > 0) {
      drawn += Rect("", x + (kStep - kBarWidth) / 2, kStripHeight - height, kBarWidth, height, bar.title);
    }
    x += kStep;
  }
  return svg + drawn + Line(0, kStripHeight, width, kStripHeight) + "</svg>";
}

std::string DrawBar(const std::string& label, const std::vector<BarPart>& parts, int64_t whole) {
  std::string svg = Open("bar", label, kBarLength, kBarHeight) + Rect("track", 0, 0, kBarLength, kBarHeight, {});
  int64_t x = 0;
  for (const BarPart& part : parts) {
    if (part.value <= 0 || whole <= 0) continue;
    const int64_t length = std::max(std::min(part.value, whole) * kBarLength / whole, kLeastLength);
    svg += Rect(part.style, x, 0, std::min(length, kBarLength - x), kBarHeight, part.title);
    x = std::min(x + length, kBarLength - kLeastLength);
  }
  return svg + "</svg>";
}
