#include "kit/doctor.h"
#include "kit/kit_answer.h"
#include "kit/program_copy.h"

Attentions ExamineSite(const DoctorQuestion& question) {
  Attentions found;
  if (!ExamineConfigText(question.config, &found)) return found;
  KitSite site;
  try {
    site = LoadKitSite(question.config);
  } catch (const NotAnswered&) {
    if (found.empty()) throw;
    return found;  // the text of the configuration may be why
  }
  ExamineAddresses(site.config, &found);
  ExaminePlaces(site, question, &found);
  ExamineBase(site, question, &found);
  AddOutdatedCopies(question.config, &found);
  return found;
}
