#include "kit/attention.h"

#include "kit/attention_output.h"
#include "kit/guide_table.h"
#include "kit/kit_output.h"

void AddAttention(const std::string& code, std::string text, Attentions* all) {
  all->push_back({code, std::move(text), GuideRemedy(code)});
}

Json AttentionJson(const Attentions& all) {
  Json list = Json::array();
  for (const Attention& one : all) list.push_back({{"code", one.code}, {"text", one.text}, {"remedy", one.remedy}});
  return {{"ok", all.empty()}, {"attention", list}};
}

void ShowAttention(const Attentions& all) {
  for (const Attention& one : all) Show(Coloured(kWarning, one.text) + " (" + one.code + ")\n    " + one.remedy + "\n");
}
