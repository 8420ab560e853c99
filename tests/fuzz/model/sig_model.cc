#include "fuzz/model/sig_model.h"

#include "fuzz/model/plain_text.h"

namespace {

constexpr size_t kBuffer = 256;
constexpr size_t kWideBuffer = 512;

// One line: the text before and after its first tab.
struct SigLine {
  std::string msgid;
  std::string number;
  bool has_tab = false;
};

SigLine Split(const std::string& piece) {
  const std::string line = TrimmedEnd(piece, "\r\n");
  const size_t tab = line.find('\t');
  if (tab == std::string::npos) return {line, "", false};
  return {line.substr(0, tab), line.substr(tab + 1), true};
}

}  // namespace

bool ModelContainsMsgid(const std::string& sig, const std::string& msgid) {
  for (const std::string& piece : ReadLines(sig, kBuffer)) {
    if (Split(piece).msgid == msgid) return true;
  }
  return false;
}

bool ModelFindMsgNumber(const std::string& sig, const std::string& msgid, int32_t* number) {
  for (const std::string& piece : ReadLines(sig, kBuffer)) {
    const SigLine line = Split(piece);
    if (!line.has_tab || line.msgid != msgid) continue;
    *number = NumberAtStart(line.number);
    return true;
  }
  return false;
}

bool ModelFindMsgid(const std::string& sig, int32_t number, std::string* msgid) {
  for (const std::string& piece : ReadLines(sig, kWideBuffer)) {
    const SigLine line = Split(piece);
    if (!line.has_tab || NumberAtStart(line.number) != number) continue;
    *msgid = line.msgid.substr(0, 63);
    return true;
  }
  return false;
}
