#include "kit/report_page.h"

#include "app/version.h"
#include "kit/html_text.h"
#include "kit/kit_format.h"
#include "kit/kit_output.h"
#include "kit/report_svg.h"
#include "kit/shown_number.h"

namespace {

std::string PageHead(const ReportFacts& facts) {
  const std::string name = facts.system.empty() ? "This site" : Html(facts.system);
  std::string head =
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
      "<meta name=\"color-scheme\" content=\"light dark\">\n"
      "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src 'unsafe-inline'\">\n"
      "<title>";
  head += name + ": mail report of " + Html(facts.made.substr(0, 10)) + "</title>\n<style>\n";
  head += kReportStyle;
  head += "</style>\n</head>\n<body>\n<main>\n<header>\n<p class=\"eyebrow\">Mail report &middot; ";
  head += Html(facts.made.substr(0, 16)) + "</p>\n<h1>" + name + "</h1>\n";
  if (!facts.address.empty()) head += "<p class=\"address\">" + facts.address;
  if (!facts.address.empty() && !facts.hub.empty()) head += " <span class=\"soft\">&middot; hub</span> " + facts.hub;
  if (!facts.address.empty()) head += "</p>\n";
  const size_t count = facts.attention.size();
  head += count == 0 ? "<p class=\"verdict good\">Nothing needs attention</p>\n"
                     : "<p class=\"verdict bad\">" + Count(count, "thing") + (count == 1 ? " needs" : " need") +
                           " attention</p>\n";
  if (!facts.unsettled.empty()) head += "<p class=\"soft\">Unsettled: " + Html(facts.unsettled) + ".</p>\n";
  return head + "</header>\n";
}

std::string RunFact(const std::optional<LoggedRun>& run) {
  if (!run) return "<dd>none in the log</dd>";
  const bool toss = run->mode == RunMode::kToss;
  std::string fact = "<dd>" + Html(ShownMail(run->started.substr(0, 16))) + "</dd><dd class=\"soft\">";
  fact += WordOf(*run);
  return fact + ", " + (toss ? Grouped(run->stored) + " stored" : Grouped(run->done) + " sent") + "</dd>";
}

struct FateOf {
  Fate fate;
  const char* style;
  const char* meaning;
};

constexpr FateOf kFatesShown[] = {
    {Fate::kStored, "f-stored", "in the message base"},
    {Fate::kRemoved, "f-removed", "stored, and packed away or cut off since"},
    {Fate::kDuplicate, "f-duplicate", "already in the message base"},
    {Fate::kDropped, "f-dropped", "no conference takes it"},
    {Fate::kDamaged, "f-damaged", "at the damage in its packet, or after it; the packet was saved"},
    {Fate::kWaiting, "f-waiting", "still inbound"},
    {Fate::kUnknown, "f-unknown", "its file is gone, and only the log mentions it"},
    {Fate::kUnaccounted, "f-unaccounted", "nothing says what became of it"},
};

}  // namespace

std::string Section(const std::string& heading, const std::string& remark, const std::string& content) {
  std::string section = "<section>\n<div class=\"head\"><h2>" + heading + "</h2>";
  if (!remark.empty()) section += "<p>" + remark + "</p>";
  return section + "</div>\n<div class=\"body\">\n" + content + "</div>\n</section>\n";
}

std::string AttentionSection(const ReportFacts& facts) {
  if (facts.attention.empty()) return {};
  std::string list = "<ol class=\"attention\">\n";
  for (const Attention& one : facts.attention) {
    list +=
        "<li><h3>" + Html(one.text) + "</h3><p>" + Html(one.remedy) + "</p><code>" + Html(one.code) + "</code></li>\n";
  }
  return Section("Attention", "With the remedies of the operator&#39;s guide", list + "</ol>\n");
}

std::string NowSection(const ReportFacts& facts) {
  int64_t messages = 0;
  int64_t bytes = 0;
  for (const ReportConference& one : facts.conferences) {
    messages += one.messages;
    bytes += one.bytes;
  }
  const StatusFacts& status = facts.status;
  std::string list = "<dl class=\"now\">\n<div><dt>Last toss</dt>" + RunFact(status.runs.toss);
  list += "</div>\n<div><dt>Last scan</dt>" + RunFact(status.runs.scan);
  list += "</div>\n<div><dt>Waiting</dt><dd>" + Count(status.inbound.size(), "file") +
          " inbound</dd><dd class=\"soft\">" + Count(status.bundles, "bundle") + " outbound</dd>";
  list += "</div>\n<div><dt>Message base</dt><dd>" + Grouped(messages) + (messages == 1 ? " message" : " messages") +
          "</dd><dd class=\"soft\">" + Count(facts.conferences.size(), "conference") + ", " + ShownSize(bytes) +
          "</dd></div>\n</dl>\n";
  return Section("Now", {}, list);
}

std::string LedgerSection(const ReportFacts& facts) {
  const auto in = static_cast<int64_t>(facts.ledger.In());
  const auto lost = static_cast<int64_t>(facts.ledger.Of(Fate::kUnaccounted));
  const std::string remark = "Each message of each file that arrived in these days, once for each arrival";
  if (in == 0) return Section("Ledger", remark, "<p>No file arrived in these days.</p>\n");
  std::vector<BarPart> parts;
  std::string legend;
  for (const FateOf& one : kFatesShown) {
    const auto count = static_cast<int64_t>(facts.ledger.Of(one.fate));
    if (count == 0) continue;
    const std::string name = NameOf(one.fate);
    parts.push_back({count, one.style, name + ": " + Grouped(count)});
    legend += "<li><span class=\"key " + std::string(one.style) + "\"></span> <b>" + Grouped(count) + "</b> " + name +
              " <span class=\"soft\">" + one.meaning + "</span></li>\n";
  }
  std::string content = "<p class=\"sum\"><b>" + Grouped(in) + "</b> in. ";
  content += lost == 0 ? std::string("<span class=\"good\">Every one is accounted for.</span>")
                       : "<span class=\"bad\">" + Grouped(lost) + " unaccounted for.</span>";
  content += "</p>\n<div class=\"thick\">" + DrawBar("What became of the inbound messages", parts, in) + "</div>\n";
  return Section("Ledger", remark, content + "<ul class=\"legend\">\n" + legend + "</ul>\n");
}

std::string ReportPage(const ReportFacts& facts) {
  std::string page = PageHead(facts) + AttentionSection(facts) + NowSection(facts) + MailSection(facts) +
                     LedgerSection(facts) + ConferenceSection(facts) + RunSection(facts) + AreaSection(facts);
  page += "<footer>Made by cvkit ";
  page += std::string(kVersion) + " " + kReleaseLabel + " on " + Html(facts.made) +
          ". Nothing of the site was changed.</footer>\n</main>\n</body>\n</html>\n";
  return page;
}
