#include "fuzz/model/toss_model.h"

#include <algorithm>
#include <cstdio>
#include <limits>

#include "fuzz/model/plain_text.h"
#include "fuzz/model/records_model.h"
#include "fuzz/model/sig_model.h"

namespace {

ModelConference* FindTag(const std::string& tag, ModelSite* site) {
  for (ModelConference& conference : site->conferences) {
    if (conference.routed && conference.tag == tag) return &conference;
  }
  return nullptr;
}

void Say(const std::string& what, ModelSite* site) {
  site->log.push_back("  msg " + std::to_string(site->message) + ": " + what);
}

ModelConference* Choose(const ModelMessage& message, ModelSite* site) {
  const std::string& area = message.text.area;
  if (area.empty()) {
    for (ModelConference& conference : site->conferences) {
      if (conference.number == site->netmail) return &conference;
    }
    Say("netmail with no NetMailConf=1 conference configured -- SKIPPED", site);
    return nullptr;
  }
  ModelConference* const found = FindTag(Capitals(area), site);
  if (found != nullptr) return found;
  site->bad_areas += site->time_stamp + "  " + area + "\n";
  ModelConference* const other = FindTag("*", site);
  const std::string unknown = "AREA:" + area + " has no matching conference ";
  if (other != nullptr) {
    Say(unknown + "-- parked in catch-all conf " + std::to_string(other->number) + " (see BADAREAS.LST)", site);
  } else {
    Say(unknown + "and no catch-all configured -- SKIPPED (logged to BADAREAS.LST)", site);
  }
  return other;
}

int32_t Highest(const ModelConference& conference) {
  int32_t highest = 0;
  for (size_t at = 0; at < conference.ptr.size(); at += 256) {
    highest = std::max(highest, LongAt(conference.ptr, at + 166));
  }
  return highest;
}

bool IsAlive(const ModelConference& conference, int32_t number) {
  for (size_t at = 0; at < conference.ptr.size(); at += 256) {
    if (LongAt(conference.ptr, at + 166) == number && conference.ptr[at + 158] == 0) return true;
  }
  return false;
}

bool CanBeWritten(const ModelConference& conference, const ModelMessage& message) {
  if (conference.unwritable.empty()) return true;
  return conference.unwritable == "SIG" && message.text.msgid.empty();
}

// Returns -1 when there is no parent to look for.
int32_t FindParent(const ModelMessage& message, const std::string& in_conference, const ModelConference& conference,
                   ModelSite* site) {
  const std::string fallback = " -- storing as non-threaded (safe fallback)";
  const std::string& reply = message.text.reply;
  int32_t parent = -1;
  if (reply.empty()) {
    if (BeginsWith(message.subject, "RE:")) {
      Say("subject looks like a reply but no REPLY: kludge present" + fallback, site);
    }
    return -1;
  }
  if (!ModelFindMsgNumber(conference.sig, reply, &parent) || parent < 0) {
    Say("reply to MSGID " + reply + ", but parent not found locally" + in_conference + fallback, site);
    return -1;
  }
  if (parent >= 1 && !IsAlive(conference, parent)) {
    site->log.push_back("  parent MSGID resolved to MsgNumber " + std::to_string(parent) +
                        " via .SIG tracking, but that message no longer exists (or is marked Deleted) in the current "
                        "message base" +
                        fallback);
  }
  return parent;
}

// Returns how many records the text takes.
size_t Append(const ModelMessage& message, int32_t number, int32_t parent, ModelConference* conference) {
  const bool reply = parent >= 1 && parent != number && IsAlive(*conference, parent);
  const std::string text = DatRecords(message.text.body);
  const std::string numbers = Long(number) + Long(reply ? parent : number);
  std::string header(256, '\0');
  Put(0, Prefixed(ConvertedDate(message.date), 17), &header);
  Put(18, Prefixed(message.from, 30), &header);
  Put(49, Prefixed(message.to, 30), &header);
  Put(80, Prefixed(message.to, 30), &header);
  Put(111, Prefixed(message.subject, 40), &header);
  header[152] = message.text.area.empty() ? 1 : 0;
  header[153] = 1;
  header[155] = reply ? 1 : 0;
  header[156] = reply ? 0 : 1;
  header[157] = message.attribute % 2 == 0 ? 0 : 1;
  header[159] = 1;
  Put(160, Word(static_cast<unsigned int>(conference->dat.size() / 128)), &header);
  Put(162, Word(static_cast<unsigned int>(text.size() / 128)), &header);
  Put(164, Word(static_cast<unsigned int>(conference->number)), &header);
  Put(166, numbers, &header);
  Put(215, Prefixed(message.origin, 16), &header);
  conference->dat += text;
  conference->idx += Long(CrcOf(message.from)) + Long(CrcOf(message.to)) + numbers;
  conference->ptr += header;
  if (!message.text.msgid.empty()) conference->sig += message.text.msgid + "\t" + std::to_string(number) + "\n";
  return text.size() / 128;
}

}  // namespace

ModelRoute Route(const ModelMessage& message, ModelSite* site) {
  ++site->message;
  ModelConference* const conference = Choose(message, site);
  if (conference == nullptr) return kModelSkipped;
  const std::string& msgid = message.text.msgid;
  const std::string in_conference = " in conf " + std::to_string(conference->number);
  if (!msgid.empty() && ModelContainsMsgid(conference->sig, msgid)) {
    Say("duplicate (MSGID " + msgid + " already seen" + in_conference + ") -- SKIPPED", site);
    return kModelSkipped;
  }
  const int32_t parent = FindParent(message, in_conference, *conference, site);
  const int32_t highest = Highest(*conference);
  if (!IsSound(conference->ptr, conference->idx, conference->dat) || !CanBeWritten(*conference, message) ||
      highest == std::numeric_limits<int32_t>::max()) {
    Say("message-base append failed; source packet will be retained", site);
    return kModelFailed;
  }
  const size_t records = Append(message, highest + 1, parent, conference);
  site->log.push_back("  -> wrote conf " + std::to_string(conference->number) + " msg #" + std::to_string(highest + 1) +
                      "  From='" + message.from + "' To='" + message.to + "' Subj='" + message.subject + "' (" +
                      std::to_string(records) + " records)");
  return kModelStored;
}

std::map<std::string, std::string> FilesOf(const ModelSite& site) {
  std::map<std::string, std::string> files;
  if (!site.bad_areas.empty()) files["BADAREAS.LST"] = site.bad_areas;
  for (const ModelConference& conference : site.conferences) {
    char name[32];
    (void)snprintf(name, sizeof name, "CVMSG%02d.", conference.number);
    if (!conference.ptr.empty()) files[name + std::string("PTR")] = conference.ptr;
    if (!conference.idx.empty()) files[name + std::string("IDX")] = conference.idx;
    if (!conference.dat.empty()) files[name + std::string("DAT")] = conference.dat;
    if (!conference.sig.empty()) files[name + std::string("SIG")] = conference.sig;
  }
  return files;
}
