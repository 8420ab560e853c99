#include "kit/report_json.h"

#include "kit/attention_output.h"
#include "kit/shown_facts.h"

namespace {

Json MailJson(const MailCounts& mail) {
  return {{"in", mail.in},
          {"out", mail.out},
          {"duplicates", mail.duplicates},
          {"dropped", mail.dropped},
          {"damaged", mail.damaged}};
}

std::string IsoTime(std::string stamp) {
  if (stamp.size() > 10) stamp[10] = 'T';
  return stamp;
}

Json ConferenceJson(const ReportConference& one) {
  return {{"number", one.number},
          {"name", one.name},
          {"tag", one.tag},
          {"messages", one.messages},
          {"dat_records", one.records},
          {"bytes", one.bytes},
          {"full_on", one.full_on.empty() ? Json() : Json(one.full_on)},
          {"mail", {{"in", one.mail.in}, {"out", one.mail.out}, {"duplicates", one.mail.duplicates}}}};
}

}  // namespace

std::string ReportJson(const ReportFacts& facts) {
  Json answer = AttentionJson(facts.attention);
  answer["made"] = IsoTime(facts.made);
  answer["unsettled"] = facts.unsettled.empty() ? Json() : Json(facts.unsettled);
  answer["sum"] = MailJson(facts.sum);
  answer["days"] = Json::array();
  for (const ReportDay& day : facts.days) {
    Json one = {{"date", day.date}};
    one.update(MailJson(day.mail));
    answer["days"].push_back(one);
  }
  answer["conferences"] = Json::array();
  for (const ReportConference& one : facts.conferences) answer["conferences"].push_back(ConferenceJson(one));
  answer["runs"] = Json::array();
  for (const LoggedRun& run : facts.runs) {
    answer["runs"].push_back({{"mode", run.mode == RunMode::kToss ? "toss" : "scan"},
                              {"started", IsoTime(run.started)},
                              {"ended", IsoTime(run.last)},
                              {"result", WordOf(run)}});
  }
  answer["unknown_areas"] = Json::array();
  for (const UnknownArea& area : facts.unknown_areas) {
    answer["unknown_areas"].push_back(
        {{"tag", area.tag}, {"messages", area.messages}, {"first", IsoTime(area.first)}, {"last", IsoTime(area.last)}});
  }
  answer["ledger"] = {{"in", facts.ledger.In()}};
  for (size_t fate = 0; fate < kFates; ++fate) {
    answer["ledger"][NameOf(static_cast<Fate>(fate))] = facts.ledger.of[fate];
  }
  return JsonText(answer, 2) + "\n";
}
