// The report's sections on conferences and areas.
#include <algorithm>

#include "bbs/records.h"
#include "kit/html_text.h"
#include "kit/kit_format.h"
#include "kit/report_page.h"
#include "kit/report_svg.h"
#include "kit/shown_number.h"

namespace {

constexpr size_t kTopAreas = 10;
constexpr size_t kUnknownShown = 20;

std::string NameCell(const ReportConference& one) {
  std::string cell = "<td class=\"name\"><b>" +
                     (one.name.empty() ? "conference " + std::to_string(one.number) : Html(one.name)) + "</b>";
  return cell + " <code>" + (one.tag.empty() ? "netmail" : Html(one.tag)) + "</code></td>";
}

std::string ConferenceRow(const ReportConference& one) {
  const char* const style = 100 * one.records >= 90 * kMostDatRecords ? "b-full" : "b-used";
  const std::string records = Grouped(one.records) + " of " + Grouped(kMostDatRecords) + " records";
  std::string row = "<tr><td class=\"n no\">" + std::to_string(one.number) + "</td>" + NameCell(one);
  row += "<td class=\"n messages\">" + Grouped(one.messages) + "</td><td class=\"n size\">" +
         HtmlUnbroken(ShownSize(one.bytes)) + "</td><td class=\"used\"><div>" +
         DrawBar("Conference " + std::to_string(one.number) + ": " + records, {{one.records, style, records}},
                 kMostDatRecords) +
         "<span>" + Html(ShownShare(one.records, kMostDatRecords)) + "</span></div></td>";
  row += one.full_on.empty() ? "<td class=\"day soft\">not&nbsp;in&nbsp;sight</td>"
                             : "<td class=\"day\">" + one.full_on + "</td>";
  return row + "</tr>\n";
}

std::string TopAreas(const ReportFacts& facts) {
  std::vector<const ReportConference*> top;
  for (const ReportConference& one : facts.conferences) {
    if (one.mail.in + one.mail.out > 0) top.push_back(&one);
  }
  std::stable_sort(top.begin(), top.end(), [](const ReportConference* one, const ReportConference* other) {
    return one->mail.in + one->mail.out > other->mail.in + other->mail.out;
  });
  if (top.empty()) return "<p>No conference had mail in these days.</p>\n";
  if (top.size() > kTopAreas) top.resize(kTopAreas);
  const int64_t most = top[0]->mail.in + top[0]->mail.out;
  std::string table =
      "<table class=\"areas\">\n<thead><tr><th scope=\"col\">Conference</th><th scope=\"col\" class=\"n\">In</th><th "
      "scope=\"col\" class=\"n\">Out</th><th scope=\"col\" class=\"n\">Dupl.</th><th scope=\"col\"><span "
      "class=\"key f-stored\"></span> in <span class=\"key f-out\"></span> out</th></tr></thead>\n<tbody>\n";
  for (const ReportConference* one : top) {
    const MailCounts& mail = one->mail;
    const std::string label = Grouped(mail.in) + " in, " + Grouped(mail.out) + " out";
    table += "<tr>" + NameCell(*one) + "<td class=\"n in\">" + Grouped(mail.in) + "</td><td class=\"n out\">" +
             Grouped(mail.out) + "</td><td class=\"n dup\">" + Grouped(mail.duplicates) + "</td><td class=\"share\">" +
             DrawBar("Conference " + std::to_string(one->number) + ": " + label,
                     {{mail.in, "f-stored", Grouped(mail.in) + " in"}, {mail.out, "f-out", Grouped(mail.out) + " out"}},
                     most) +
             "</td></tr>\n";
  }
  return table + "</tbody>\n</table>\n";
}

std::string UnknownAreas(std::vector<UnknownArea> areas) {
  if (areas.empty()) return "<p>No mail for unknown areas has arrived.</p>\n";
  std::stable_sort(areas.begin(), areas.end(),
                   [](const UnknownArea& one, const UnknownArea& other) { return one.last > other.last; });
  std::string table =
      "<table class=\"unknown\">\n<thead><tr><th scope=\"col\">Area</th><th scope=\"col\" class=\"n\">Messages</th><th "
      "scope=\"col\">First</th><th scope=\"col\">Last</th></tr></thead>\n<tbody>\n";
  const size_t shown = std::min(areas.size(), kUnknownShown);
  for (size_t i = 0; i < shown; ++i) {
    table += "<tr><td class=\"name\"><code>" + Html(areas[i].tag) + "</code></td><td class=\"n messages\">" +
             Grouped(static_cast<int64_t>(areas[i].messages)) + "</td><td class=\"first\">" +
             Html(areas[i].first.substr(0, 10)) + "</td><td class=\"last\">" + Html(areas[i].last.substr(0, 10)) +
             "</td></tr>\n";
  }
  table += "</tbody>\n</table>\n";
  if (areas.size() > shown) table += "<p class=\"soft\">And " + Count(areas.size() - shown, "area") + " more.</p>\n";
  return table;
}

}  // namespace

std::string ConferenceSection(const ReportFacts& facts) {
  const std::string remark =
      "The fullest first, of " + Grouped(kMostDatRecords) + " records; full by the mail of the last 90 days";
  if (facts.conferences.empty()) return Section("Conferences", remark, "<p>No conference is networked.</p>\n");
  std::vector<ReportConference> all = facts.conferences;
  std::stable_sort(all.begin(), all.end(), [](const ReportConference& one, const ReportConference& other) {
    return one.records > other.records;
  });
  std::string table =
      "<table class=\"conferences\">\n<thead><tr><th scope=\"col\" class=\"n\">No.</th><th "
      "scope=\"col\">Conference</th><th scope=\"col\" class=\"n\">Messages</th><th scope=\"col\" "
      "class=\"n\">Size</th><th scope=\"col\">Used</th><th scope=\"col\">Full on</th></tr></thead>\n<tbody>\n";
  for (const ReportConference& one : all) table += ConferenceRow(one);
  return Section("Conferences", remark, table + "</tbody>\n</table>\n");
}

std::string AreaSection(const ReportFacts& facts) {
  return Section("Top areas", "By the messages of the 90 days", TopAreas(facts)) +
         Section("Unknown areas", "All areas in BADAREAS.LST, the latest first", UnknownAreas(facts.unknown_areas));
}
