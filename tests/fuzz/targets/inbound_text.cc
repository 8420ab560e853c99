// The text of an inbound message: area, kludges and what is stored.
#include "toss/inbound_text.h"

#include "fuzz/model/packet_model.h"
#include "fuzz/model/plain_text.h"
#include "fuzz/support/input.h"
#include "fuzz/support/memory_files.h"
#include "fuzz/support/rule.h"
#include "toss/packet_toss.h"

namespace {

// Lines of 65,536 bytes are out of a fuzzer's reach: a byte 0xFE, a count and a byte stand for a run of it. The counts
// from 240 on mean lengths around the longest line; few of them fit into one text.
std::string Unrolled(Input input) {
  std::string text;
  while (input.Left() != 0 && text.size() < 70000) {
    const uint8_t byte = input.TakeByte();
    if (byte != 0xFE) {
      text += static_cast<char>(byte);
      continue;
    }
    const size_t count = input.TakeByte();
    const auto repeated = static_cast<char>(input.TakeByte());
    const bool ends_line = repeated == '\r' || repeated == '\n';
    text.append(count < 240 || ends_line ? count : 65536 - 248 + count, repeated);
  }
  return UpToNul(text);
}

void CheckAccepted(const std::string& text, const InboundMessage& message, const ModelText& model) {
  const std::string body(reinterpret_cast<const char*>(message.body.data), message.body.size);
  MustEqual(message.area, model.area, "the area tag is that of the first line");
  MustEqual(message.charset, model.charset, "CHRS is the last one given");
  MustEqual(message.msgid, model.msgid, "MSGID is the last one given");
  MustEqual(message.reply, model.reply, "REPLY is the last one given");
  MustEqual(body, model.body, "the body is made of the lines that are kept");
  Must(body.size() <= text.size() + 1, "the body has room in the text's length and one line end");
  Must(body.empty() || body.back() == '\x01' || BeginsWith(model.charset, "UTF-8"), "the last line is ended");
  if (!BeginsWith(model.charset, "UTF-8")) {
    Must(body.find_first_of("\r\n") == std::string::npos, "what is stored holds no CR or LF");
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  MemoryFiles system;
  const std::string text = Unrolled(Input(data, size));
  const ModelText model = ReadText(text);
  const ExactCopy copy(text + '\0');
  InboundMessage message;
  const ParsedText result = ParseInboundText(reinterpret_cast<const char*>(copy.Data()), text.size(), &message);
  ReportTextFault(result);
  Must((result.fault != kTextSound) == model.refused, "a text is refused for its lines, tag and values alone");
  if (model.refused) {
    MustEqual(static_cast<long long>(system.log.size()), 1, "a refusal is one line");
    MustEqual(system.log[0], AsLogged(model.refusal), "a refusal says what is wrong");
  } else {
    Must(system.log.empty(), "a text that is accepted is no news");
    CheckAccepted(text, message, model);
  }
  return 0;
}
