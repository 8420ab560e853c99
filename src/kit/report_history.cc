// The report's sections on mail by day and on runs.
#include <algorithm>

#include "kit/html_text.h"
#include "kit/kit_output.h"
#include "kit/log_period.h"
#include "kit/report_page.h"
#include "kit/report_svg.h"
#include "kit/shown_number.h"

namespace {

struct StripKind {
  const char* name;
  const char* style;
  const char* unit;
  int64_t MailCounts::*count;
};

constexpr StripKind kStrips[] = {
    {"In", "s-in", "stored", &MailCounts::in},
    {"Out", "s-out", "sent", &MailCounts::out},
    {"Duplicates", "s-duplicates", "skipped", &MailCounts::duplicates},
    {"Damaged", "s-damaged", "damaged packets", &MailCounts::damaged},
};

bool IsFirstOfMonth(const std::string& date) { return date.size() == 10 && date.compare(8, 2, "01") == 0; }

std::string Strip(const StripKind& kind, const ReportFacts& facts) {
  const int64_t sum = facts.sum.*kind.count;
  const auto most = std::max_element(
      facts.days.begin(), facts.days.end(),
      [&kind](const ReportDay& one, const ReportDay& other) { return one.mail.*kind.count < other.mail.*kind.count; });
  std::string figure = std::string("<figure class=\"") + kind.style + "\"><figcaption><span class=\"what\">" +
                       kind.name + "</span> <b>" + Grouped(sum) + "</b> ";
  if (sum == 0) return figure + "<span class=\"soft\">none</span></figcaption></figure>\n";
  const int64_t tenths = 10 * sum / kReportDays;
  figure += "<span class=\"soft\">" + (tenths < 10 ? std::string() : Grouped(tenths / 10) + " a day, ") + "at most " +
            Grouped(most->mail.*kind.count) + " on <time>" + Html(most->date) + "</time></span></figcaption>";
  std::vector<StripBar> bars;
  for (const ReportDay& day : facts.days) {
    const int64_t count = day.mail.*kind.count;
    bars.push_back({count, day.date + ": " + Grouped(count) + " " + kind.unit, IsFirstOfMonth(day.date)});
  }
  return figure + DrawStrip(std::string(kind.name) + ", a bar a day", bars) + "</figure>\n";
}

// The names of the months below the strips, each as wide as its days. A month of only a few days has no room for one.
std::string Months(const std::vector<ReportDay>& days) {
  constexpr const char* kNames[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  constexpr size_t kRoom = 12;  // days
  std::string axis = "<p class=\"months\" aria-hidden=\"true\">";
  for (size_t from = 0; from < days.size();) {
    size_t to = from + 1;
    while (to < days.size() && !IsFirstOfMonth(days[to].date)) ++to;
    const size_t month = static_cast<size_t>(std::clamp(std::atoi(days[from].date.c_str() + 5), 1, 12)) - 1;
    axis += "<span style=\"flex-grow:" + std::to_string(to - from) + "\">";
    axis += to - from < kRoom ? "" : kNames[month];
    axis += "</span> ";
    from = to;
  }
  return axis + "</p>\n";
}

std::string Cell(int64_t count) {
  return count == 0 ? "<td class=\"n soft\">0</td>" : "<td class=\"n\">" + Grouped(count) + "</td>";
}

std::string Row(const std::string& head, const MailCounts& mail) {
  return "<tr><th scope=\"row\">" + Html(head) + "</th>" + Cell(mail.in) + Cell(mail.out) + Cell(mail.duplicates) +
         Cell(mail.dropped) + Cell(mail.damaged) + "</tr>\n";
}

// The numbers of seven days in each row, the newest first.
std::string WeekTable(const ReportFacts& facts) {
  constexpr size_t kWeek = 7;
  std::string table =
      "<details><summary>In figures, by week</summary>\n<table class=\"weeks\">\n<thead><tr><th scope=\"col\">7 days "
      "from</th><th scope=\"col\">In</th><th scope=\"col\">Out</th><th scope=\"col\">Dupl.</th><th "
      "scope=\"col\">Dropped</th><th scope=\"col\">Damaged</th></tr></thead>\n<tbody>\n";
  for (size_t to = facts.days.size(); to > 0;) {
    const size_t from = to - std::min(to, kWeek);
    MailCounts week;
    for (size_t day = from; day < to; ++day) week.Add(facts.days[day].mail);
    table += Row(facts.days[from].date, week);
    to = from;
  }
  return table + "</tbody>\n<tfoot>" + Row("All", facts.sum) + "</tfoot>\n</table></details>\n";
}

const char* StyleOf(const LoggedRun& run) {
  if (run.end == RunEnd::kComplete) return "good";
  return run.waited ? "soft" : "bad";
}

// Each count that is not 0, with its word.
std::string WhatItDid(const LoggedRun& run) {
  std::string text;
  const auto add = [&text](int64_t count, const char* word) {
    if (count != 0) text += (text.empty() ? "" : ", ") + Grouped(count) + " " + word;
  };
  const bool toss = run.mode == RunMode::kToss;
  if (!toss) add(run.done, "sent");
  add(run.stored, "stored");
  add(run.duplicates, run.duplicates == 1 ? "duplicate" : "duplicates");
  add(run.dropped, "dropped");
  add(run.damaged, "damaged");
  if (toss) add(run.done, run.done == 1 ? "file done" : "files done");
  add(run.retained, "left inbound");
  add(run.errors, run.errors == 1 ? "error" : "errors");
  return text.empty() ? "<span class=\"soft\">nothing to do</span>" : text;
}

std::string RunRow(const LoggedRun& run) {
  const int64_t took = std::max<int64_t>(SecondsOfStamp(run.last) - SecondsOfStamp(run.started), 0);
  return "<tr><td class=\"began\">" + Html(ShownMail(run.started)) + "</td><td class=\"mode\">" +
         (run.mode == RunMode::kToss ? "toss" : "scan") + "</td><td class=\"result " + StyleOf(run) + "\">" +
         WordOf(run) + "</td><td class=\"n took\">" + HtmlUnbroken(ShownDuration(took)) + "</td><td class=\"did\">" +
         WhatItDid(run) + "</td></tr>\n";
}

}  // namespace

std::string MailSection(const ReportFacts& facts) {
  const std::string remark =
      "<time>" + facts.days.front().date + "</time> to <time>" + facts.days.back().date + "</time>, a bar a day";
  if (!facts.has_log) return Section("Mail", remark, "<p>There is no log.</p>\n");
  const MailCounts& sum = facts.sum;
  if (sum.in + sum.out + sum.duplicates + sum.dropped + sum.damaged == 0) {
    return Section("Mail", remark, "<p>The log has no mail of these days.</p>\n");
  }
  std::string content = "<div class=\"strips\">\n";
  for (const StripKind& kind : kStrips) content += Strip(kind, facts);
  content += Months(facts.days) + "</div>\n";
  return Section("Mail", remark, content + WeekTable(facts));
}

std::string RunSection(const ReportFacts& facts) {
  if (facts.runs.empty()) return Section("Runs", {}, "<p>The log has no run.</p>\n");
  std::string table =
      "<table class=\"runs\">\n<thead><tr><th scope=\"col\">Began</th><th scope=\"col\">Run</th><th "
      "scope=\"col\">Result</th><th scope=\"col\" class=\"n\">Took</th><th scope=\"col\">What it "
      "did</th></tr></thead>\n<tbody>\n";
  for (const LoggedRun& run : facts.runs) table += RunRow(run);
  return Section("Runs", "The last tosses and scans, the newest first", table + "</tbody>\n</table>\n");
}
