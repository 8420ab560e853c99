#include "kit/base_model.h"

#include <algorithm>
#include <cstring>

#include "base/scan_number.h"
#include "base/whole_file.h"
#include "bbs/name_crc.h"
#include "bbs/sig_file.h"
#include "kit/kit_answer.h"

namespace {

constexpr int64_t kLargestBaseFile = 2147483647;  // bytes: no run takes a larger one
constexpr int64_t kPieceSize = 65536;             // bytes; whole records of every kind
static_assert(kPieceSize % kPtrRecordSize == 0 && kPieceSize % kDatRecordSize == 0 && kPieceSize % kIdxRecordSize == 0);

bool IsZero(const uint8_t* bytes, size_t size) { return bytes[0] == 0 && memcmp(bytes, bytes + 1, size - 1) == 0; }

NotAnswered CannotBeRead(const BaseFile& file) { return NotAnswered(file.Path() + " cannot be read"); }

BaseFile Look(const MessageBase& base, int32_t conference, const char* kind) {
  BaseFile file;
  if (FormatBasePath(base, conference, kind, &file.place) != 0) {
    throw NotAnswered(std::string("the path of MSGDIR is too long: ") + base.path);
  }
  OsStatus status;
  const OsResult found = OsStat(file.place, &status);
  if (found == kOsMissing) return file;
  if (found != kOsOk || status.kind != kOsRegularFile) throw CannotBeRead(file);
  file.exists = true;
  file.size = status.size;
  file.modified = status.modified;
  return file;
}

// Makes a Record of each whole record of the file, which is read in pieces that stay in the processor's cache, and sets
// the file's size to the number of bytes read.
template <class Record, class Make>
void ReadRecords(BaseFile* file, size_t record_size, Make make, std::vector<Record>* records) {
  if (!file->exists) return;
  OsFile opened;
  if (OsOpen(file->place, kOsReadShared, &opened) != kOsOk) throw CannotBeRead(*file);
  const int64_t size = OsSize(opened);
  if (size < 0 || size > kLargestBaseFile) throw CannotBeRead(*file);
  records->reserve(static_cast<size_t>(size) / record_size);
  std::vector<uint8_t> piece(kPieceSize);
  for (int64_t at = 0; at < size; at += kPieceSize) {
    const auto wanted = static_cast<size_t>(std::min<int64_t>(kPieceSize, size - at));
    if (OsReadAt(opened, at, piece.data(), wanted).bytes != wanted) throw CannotBeRead(*file);
    for (size_t begin = 0; begin + record_size <= wanted; begin += record_size) {
      records->push_back(make(piece.data() + begin));
    }
  }
  if (OsClose(&opened) != 0) throw CannotBeRead(*file);
  file->size = size;
}

void ReadSig(BaseFile* file, std::string* text) {
  if (!file->exists) return;
  ByteBuffer content;
  if (ReadWholeFile(file->place, &content, kLargestBaseFile) != 0) throw CannotBeRead(*file);
  file->size = static_cast<int64_t>(content.size);
  if (content.size != 0) text->assign(reinterpret_cast<const char*>(content.data), content.size);
}

// Whether there are zero bytes within the length of a text field.
bool IsHoled(const uint8_t* record, Field field) {
  const size_t length = std::min<size_t>(record[field.at], field.width - 1);
  return length != 0 && memchr(record + field.at + 1, 0, length) != nullptr;
}

TextMark MarkText(const uint8_t* record) {
  if (IsZero(record, kDatRecordSize)) return kTextBlank;
  return IsHoled(record, {dat_layout::length.at, dat_layout::kSize}) ? kTextHoled : kTextThere;
}

NameModel ModelName(const uint8_t* record, Field field) {
  char name[256];
  const size_t size = GetPrefixedText(record, field, name, sizeof name);
  return {NameCrc(name), record[field.at] < field.width - 1 && strlen(name) == size};
}

HeaderModel ModelHeader(const uint8_t* record) {
  namespace layout = ptr_layout;
  const PtrVitals vitals = UnpackPtrVitals(record);
  HeaderModel header;
  header.number = vitals.MsgNumber;
  header.thread = GetI32(record + layout::ThreadRef.at);
  header.where = vitals.Where;
  header.records = vitals.Records;
  header.from = ModelName(record, layout::From);
  header.to = ModelName(record, layout::To);
  header.blank = IsZero(record, layout::kSize);
  header.deleted = vitals.Deleted;
  header.sent = record[layout::MsgSent.at] != 0;
  header.reply = record[layout::IsReply.at] != 0;
  header.netmail = record[layout::NetMail.at] != 0;
  for (const Field& field : {layout::MsgDate, layout::From, layout::To, layout::Subj, layout::OrigNetNode}) {
    if (IsHoled(record, field)) header.holed = true;
  }
  header.inbound = header.sent && record[layout::OrigNetNode.at] != 0;
  return header;
}

IdxRecord ModelIndex(const uint8_t* record) {
  return {GetU32(record + idx_layout::FromCrc.at), GetU32(record + idx_layout::ToCrc.at),
          GetI32(record + idx_layout::MsgNumber.at), GetI32(record + idx_layout::ThreadRef.at)};
}

SigLine ModelLine(const std::string& text, size_t at, size_t end) {
  SigLine line;
  line.at = at;
  line.ended = text[end - 1] == '\n';
  if (line.ended) --end;
  line.of_scan = line.ended && end > at && text[end - 1] == '\r';
  if (line.of_scan) --end;
  line.size = end - at;
  const std::string_view piece(text.data() + at, line.size);
  const size_t tab = piece.find('\t');
  line.has_tab = tab != std::string_view::npos;
  line.msgid_size = line.has_tab ? tab : line.size;
  if (line.has_tab) line.number = LeadingInt32(std::string(piece.substr(tab + 1)).c_str());
  return line;
}

void ModelLines(BaseModel* model) {
  const std::string& text = model->sig_text;
  const char* const end = text.data() + text.size();
  for (const char* piece = text.data(); piece != end;) {
    const char* const next = SigPieceEnd(piece, end);
    model->lines.push_back(
        ModelLine(text, static_cast<size_t>(piece - text.data()), static_cast<size_t>(next - text.data())));
    piece = next;
  }
}

bool IsSteady(const BaseFile& file) {
  OsStatus status;
  const OsResult found = OsStat(file.place, &status);
  if (!file.exists) return found == kOsMissing;
  return found == kOsOk && status.size == file.size && status.modified == file.modified;
}

}  // namespace

int64_t BaseModel::TextEnd() const {
  int64_t end = 0;
  for (const HeaderModel& header : headers) {
    if (header.records != 0) end = std::max(end, int64_t{header.where} + header.records);
  }
  return end;
}

int32_t BaseModel::Highest() const {
  int32_t highest = 0;
  for (const HeaderModel& header : headers) highest = std::max(highest, header.number);
  return highest;
}

size_t BaseModel::EndedLines() const {
  size_t count = lines.size();
  while (count > 0 && !lines[count - 1].ended) --count;
  return count;
}

bool HasLostText(const BaseModel& model, const HeaderModel& header) {
  const int64_t end = std::min(int64_t{header.where} + header.records, model.DatCount());
  for (int64_t i = header.where; i < end; ++i) {
    const TextMark mark = model.texts[static_cast<size_t>(i)];
    if (mark == kTextHoled || (mark == kTextBlank && header.records > 1)) return true;
  }
  return false;
}

BaseModel ReadBaseModel(const MessageBase& base, int32_t conference) {
  BaseModel model;
  model.conference = conference;
  model.ptr = Look(base, conference, "PTR");
  model.idx = Look(base, conference, "IDX");
  model.dat = Look(base, conference, "DAT");
  model.sig = Look(base, conference, "SIG");
  ReadRecords(&model.ptr, kPtrRecordSize, ModelHeader, &model.headers);
  ReadRecords(&model.idx, kIdxRecordSize, ModelIndex, &model.index);
  ReadRecords(&model.dat, kDatRecordSize, MarkText, &model.texts);
  ReadSig(&model.sig, &model.sig_text);
  ModelLines(&model);

  for (const BaseFile* file : {&model.ptr, &model.idx, &model.dat, &model.sig}) {
    if (!IsSteady(*file)) model.steady = false;
  }
  return model;
}
