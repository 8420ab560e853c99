#include "kit/doctor.h"
#include "kit/kit_answer.h"
#include "kit/program_copy.h"

Examination ExamineSite(const DoctorQuestion& question) {
  Examination examination;
  Attentions& found = examination.attention;
  if (!ExamineConfigText(question.config, &found)) return examination;
  KitSite site;
  try {
    site = LoadKitSite(question.config);
  } catch (const NotAnswered&) {
    if (found.empty()) throw;
    return examination;  // the text of the configuration may be why
  }
  ExamineAddresses(site.config, &found);
  ExaminePlaces(site, question, &found);
  ExamineBase(site, question, &examination);
  AddOutdatedCopies(question.config, &found);
  return examination;
}
