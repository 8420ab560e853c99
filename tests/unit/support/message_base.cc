#include "unit/support/message_base.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cstdio>

#include "unit/support/captured_log.h"
#include "unit/support/test_files.h"

namespace {

constexpr size_t kPtrSize = 256;
constexpr size_t kIdxSize = 16;
constexpr size_t kDatSize = 128;
constexpr size_t kDatText = 127;

std::string Flag(bool value) { return std::string(1, value ? '\1' : '\0'); }

std::string Zeros(size_t count) { return std::string(count, '\0'); }

uint32_t NumberAt(const std::string& bytes, size_t at, size_t width) {
  uint32_t value = 0;
  for (size_t i = width; i > 0; --i) value = value << 8 | static_cast<uint8_t>(bytes.at(at + i - 1));
  return value;
}

std::string TextAt(const std::string& bytes, size_t at, size_t width) {
  const size_t length = static_cast<uint8_t>(bytes.at(at));
  EXPECT_LT(length, width) << "a text longer than its field";
  return bytes.substr(at + 1, length);
}

std::string TextOf(const std::string& dat, const BaseMessage& message) {
  std::string body;
  for (size_t record = message.where; record < size_t{message.where} + message.records; ++record) {
    if ((record + 1) * kDatSize > dat.size()) {
      ADD_FAILURE() << "the text of message #" << message.number << " ends beyond the DAT file";
      break;
    }
    body += TextAt(dat, record * kDatSize, kDatSize);
  }
  return body;
}

std::string ContentOf(const std::map<std::string, std::string>& files, const std::string& kind) {
  const auto found = files.find(kind);
  return found != files.end() ? found->second : "";
}

void Append(const std::string& path, const std::string& bytes) {
  WriteFile(path, (PathExists(path) ? ReadFile(path) : "") + bytes);
}

// Gives each message the MSGID of its line; the lines must name the messages in order, each at most once.
void TakeMsgids(const std::string& sig, std::vector<BaseMessage>* messages) {
  auto at = messages->begin();
  EXPECT_TRUE(sig.empty() || sig.back() == '\n') << "the last SIG line has no end: " << sig;
  for (const std::string& line : SplitLines(sig)) {
    const size_t tab = line.find('\t');
    ASSERT_NE(tab, std::string::npos) << "a SIG line without a tab: " << line;
    const int number = std::stoi(line.substr(tab + 1));
    at = std::find_if(at, messages->end(), [number](const BaseMessage& message) { return message.number == number; });
    ASSERT_NE(at, messages->end()) << "a SIG line without its message, or out of order: " << line;
    at++->msgid = line.substr(0, tab);
  }
}

}  // namespace

std::string Word(uint16_t value) { return {static_cast<char>(value & 0xFF), static_cast<char>(value >> 8)}; }

std::string Long(uint32_t value) {
  return Word(static_cast<uint16_t>(value & 0xFFFF)) + Word(static_cast<uint16_t>(value >> 16));
}

std::string PrefixedText(const std::string& text, size_t width) {
  EXPECT_LT(text.size(), width) << text;
  std::string field(1, static_cast<char>(text.size()));
  field += text;
  field.resize(width, '\0');
  return field;
}

uint32_t CrcOf(const std::string& name) {
  return static_cast<uint32_t>(crc32(0, BytesOf(name), static_cast<uInt>(name.size())));
}

std::string PtrBytes(const BaseMessage& m) {
  std::string bytes = PrefixedText(m.date, 18) + PrefixedText(m.from, 31) + PrefixedText(m.to, 31) +
                      PrefixedText(m.to, 31) + PrefixedText(m.subject, 41);
  bytes += Flag(m.netmail) + Flag(m.sent) + Flag(false) + Flag(m.is_reply) + Flag(!m.is_reply) + Flag(m.is_private) +
           Flag(m.deleted) + Flag(true);
  bytes += Word(m.where) + Word(m.records) + Word(m.conference);
  bytes += Long(static_cast<uint32_t>(m.number));
  bytes += Long(static_cast<uint32_t>(m.thread_ref != 0 ? m.thread_ref : m.number));
  bytes += Zeros(41) + PrefixedText(m.origin, 17) + Zeros(24);
  EXPECT_EQ(bytes.size(), kPtrSize);
  return bytes;
}

std::string IdxBytes(const BaseMessage& m) {
  return Long(CrcOf(m.from)) + Long(CrcOf(m.to)) + Long(static_cast<uint32_t>(m.number)) +
         Long(static_cast<uint32_t>(m.thread_ref != 0 ? m.thread_ref : m.number));
}

std::string DatBytes(const std::string& body) {
  std::string bytes;
  size_t at = 0;
  do {
    bytes += PrefixedText(body.substr(at, kDatText), kDatSize);
    at += kDatText;
  } while (at < body.size());
  return bytes;
}

std::string TestMessageBase::Path(const std::string& kind) const {
  char name[32];
  (void)snprintf(name, sizeof name, "/CVMSG%02d.", conference_);
  return msg_dir_ + name + kind;
}

void TestMessageBase::Add(BaseMessage message) const {
  const std::map<std::string, std::string> files = Bytes();
  const std::string ptr = ContentOf(files, "PTR");
  int32_t highest = 0;
  for (size_t at = 0; at < ptr.size(); at += kPtrSize) {
    highest = std::max(highest, static_cast<int32_t>(NumberAt(ptr, at + 166, 4)));
  }
  const std::string dat = DatBytes(message.body);
  if (message.number == 0) message.number = highest + 1;
  message.where = static_cast<uint16_t>(ContentOf(files, "DAT").size() / kDatSize);
  message.records = static_cast<uint16_t>(dat.size() / kDatSize);
  message.conference = static_cast<uint16_t>(conference_);
  Append(Path("DAT"), dat);
  Append(Path("IDX"), IdxBytes(message));
  Append(Path("PTR"), PtrBytes(message));
  if (!message.msgid.empty()) Append(Path("SIG"), message.msgid + "\t" + std::to_string(message.number) + "\n");
}

BaseMessage HeaderOf(const std::string& ptr) {
  BaseMessage message;
  message.date = TextAt(ptr, 0, 18);
  message.from = TextAt(ptr, 18, 31);
  message.to = TextAt(ptr, 49, 31);
  message.subject = TextAt(ptr, 111, 41);
  message.netmail = ptr[152] != 0;
  message.sent = ptr[153] != 0;
  message.is_reply = ptr[155] != 0;
  message.is_private = ptr[157] != 0;
  message.deleted = ptr[158] != 0;
  message.where = static_cast<uint16_t>(NumberAt(ptr, 160, 2));
  message.records = static_cast<uint16_t>(NumberAt(ptr, 162, 2));
  message.conference = static_cast<uint16_t>(NumberAt(ptr, 164, 2));
  message.number = static_cast<int32_t>(NumberAt(ptr, 166, 4));
  message.thread_ref = static_cast<int32_t>(NumberAt(ptr, 170, 4));
  message.origin = TextAt(ptr, 215, 17);
  message.body.clear();
  return message;
}

std::vector<BaseMessage> ReadMessages(const std::map<std::string, std::string>& files) {
  const std::string ptr = ContentOf(files, "PTR");
  const std::string idx = ContentOf(files, "IDX");
  const std::string dat = ContentOf(files, "DAT");
  std::vector<BaseMessage> messages;
  size_t records = 0;
  EXPECT_EQ(ptr.size() % kPtrSize, 0U) << "PTR";
  EXPECT_EQ(idx.size(), ptr.size() / kPtrSize * kIdxSize) << "IDX";
  if (idx.size() != ptr.size() / kPtrSize * kIdxSize) return messages;
  for (size_t at = 0; at + kPtrSize <= ptr.size(); at += kPtrSize) {
    BaseMessage message = HeaderOf(ptr.substr(at, kPtrSize));
    message.body = TextOf(dat, message);
    EXPECT_GE(message.records, 1) << "message #" << message.number;
    EXPECT_EQ(NumberAt(idx, at / kIdxSize + 8, 4), static_cast<uint32_t>(message.number));
    records += message.records;
    messages.push_back(message);
  }
  EXPECT_EQ(dat.size(), records * kDatSize) << "text without a header, or a header without text";
  TakeMsgids(ContentOf(files, "SIG"), &messages);
  return messages;
}

std::map<std::string, std::string> TestMessageBase::Bytes() const {
  std::map<std::string, std::string> files;
  for (const char* kind : {"PTR", "IDX", "DAT", "SIG"}) {
    if (PathExists(Path(kind))) files[kind] = ReadFile(Path(kind));
  }
  return files;
}
