#include "kit/base_model.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "base/scan_number.h"
#include "base/whole_file.h"
#include "bbs/name_crc.h"
#include "bbs/sig_file.h"
#include "kit/kit_answer.h"
#include "kit/kit_output.h"
#include "kit/site_files.h"

namespace {

constexpr int64_t kPieceSize = 65536;  // bytes; whole records of every kind
static_assert(kPieceSize % kPtrRecordSize == 0 && kPieceSize % kDatRecordSize == 0 && kPieceSize % kIdxRecordSize == 0);

bool IsZero(const uint8_t* bytes, size_t size) { return bytes[0] == 0 && memcmp(bytes, bytes + 1, size - 1) == 0; }

NotAnswered CannotBeRead(const BaseFile& file) { return NotAnswered(ShownName(file.Path()) + " cannot be read"); }

BaseFile Look(const MessageBase& base, int32_t conference, const char* kind) {
  BaseFile file;
  if (FormatBasePath(base, conference, kind, &file.place) != 0) {
    throw NotAnswered("the path of MSGDIR is too long: " + ShownName(base.path));
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

// Passes the file's whole records to `take` in pieces that stay in the processor's cache, and sets the file's size to
// the number of bytes read. `records` gets room for all of them.
template <class Record, class Take>
void ReadRecords(BaseFile* file, size_t record_size, std::vector<Record>* records, Take take) {
  if (!file->exists) return;
  OsFile opened;
  if (OsOpen(file->place, kOsReadShared, &opened) != kOsOk) throw CannotBeRead(*file);
  const int64_t size = OsSize(opened);
  if (size < 0 || size > kLargestSiteFile) throw CannotBeRead(*file);
  records->reserve(static_cast<size_t>(size) / record_size);
  std::vector<uint8_t> piece(kPieceSize);
  for (int64_t at = 0; at < size; at += kPieceSize) {
    const auto wanted = static_cast<size_t>(std::min<int64_t>(kPieceSize, size - at));
    if (OsReadAt(opened, at, piece.data(), wanted).bytes != wanted) throw CannotBeRead(*file);
    take(piece.data(), wanted / record_size);
  }
  if (OsClose(&opened) != 0) throw CannotBeRead(*file);
  file->size = size;
}

void ReadSig(BaseFile* file, std::string* text) {
  if (!file->exists) return;
  ByteBuffer content;
  if (ReadWholeFile(file->place, &content, kLargestSiteFile) != 0) throw CannotBeRead(*file);
  file->size = static_cast<int64_t>(content.size);
  if (content.size != 0) text->assign(reinterpret_cast<const char*>(content.data), content.size);
}

// Whether there are zero bytes within the length of a text field.
bool IsHoled(const uint8_t* record, Field field) {
  const size_t length = std::min<size_t>(record[field.at], field.width - 1);
  return length != 0 && memchr(record + field.at + 1, 0, length) != nullptr;
}

TextMark MarkText(const uint8_t* record) {
  if (record[dat_layout::length.at] == 0) return IsZero(record, kDatRecordSize) ? kTextBlank : kTextThere;
  return IsHoled(record, {dat_layout::length.at, dat_layout::kSize}) ? kTextHoled : kTextThere;
}

// Adds a mark for each record. Most hold no zero byte at all, and are skipped many at a time.
void MarkTexts(const uint8_t* records, size_t count, std::vector<TextMark>* marks) {
  const uint8_t* const end = records + count * kDatRecordSize;
  const size_t first = marks->size();
  marks->resize(first + count, kTextThere);
  for (const uint8_t* at = records; at != end; at += kDatRecordSize) {
    const void* const zero = memchr(at, 0, static_cast<size_t>(end - at));
    if (zero == nullptr) return;
    const auto index = static_cast<size_t>(static_cast<const uint8_t*>(zero) - records) / kDatRecordSize;
    at = records + index * kDatRecordSize;
    (*marks)[first + index] = MarkText(at);
  }
}

// Models the names of one field. Mail often has the name of the mail before it.
class NameReader {
 public:
  explicit NameReader(Field field) : field_(field) {}

  const NameModel& Read(const uint8_t* record) {
    const uint8_t* const bytes = record + field_.at;
    if (memcmp(bytes, last_, field_.width) == 0) return model_;
    memcpy(last_, bytes, field_.width);
    char name[256];
    const size_t size = GetPrefixedText(record, field_, name, sizeof name);
    model_ = {NameCrc(name), bytes[0] < field_.width - 1 && strlen(name) == size};
    return model_;
  }

 private:
  Field field_;
  uint8_t last_[256] = {};
  NameModel model_ = {NameCrc(""), true};
};

HeaderModel ModelHeader(const uint8_t* record, NameReader* from, NameReader* to) {
  namespace layout = ptr_layout;
  const PtrVitals vitals = UnpackPtrVitals(record);
  HeaderModel header;
  header.number = vitals.MsgNumber;
  header.thread = GetI32(record + layout::ThreadRef.at);
  header.where = vitals.Where;
  header.records = vitals.Records;
  header.from = from->Read(record);
  header.to = to->Read(record);
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

// Returns the number after a line's tab.
int32_t NumberAt(const std::string& text, const SigLine& line, size_t at) {
  const char* const end = text.data() + line.at + line.size;
  int32_t number = 0;
  const bool is_plain = at < line.at + line.size && text[at] >= '0' && text[at] <= '9';
  if (is_plain && std::from_chars(text.data() + at, end, number).ec == std::errc()) return number;
  return LeadingInt32(std::string(text.data() + at, end).c_str());
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
  line.holed = line.size != 0 && memchr(piece.data(), 0, line.size) != nullptr;
  const size_t tab = piece.find('\t');
  line.has_tab = tab != std::string_view::npos;
  line.msgid_size = line.has_tab ? tab : line.size;
  if (line.has_tab) line.number = NumberAt(text, line, at + tab + 1);
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
  NameReader from(ptr_layout::From);
  NameReader to(ptr_layout::To);
  ReadRecords(&model.ptr, kPtrRecordSize, &model.headers, [&](const uint8_t* records, size_t count) {
    for (size_t i = 0; i < count; ++i) {
      model.headers.push_back(ModelHeader(records + i * kPtrRecordSize, &from, &to));
    }
  });
  ReadRecords(&model.idx, kIdxRecordSize, &model.index, [&](const uint8_t* records, size_t count) {
    for (size_t i = 0; i < count; ++i) model.index.push_back(ModelIndex(records + i * kIdxRecordSize));
  });
  ReadRecords(&model.dat, kDatRecordSize, &model.texts,
              [&](const uint8_t* records, size_t count) { MarkTexts(records, count, &model.texts); });
  ReadSig(&model.sig, &model.sig_text);
  ModelLines(&model);

  for (const BaseFile* file : {&model.ptr, &model.idx, &model.dat, &model.sig}) {
    if (!IsSteady(*file)) model.steady = false;
  }
  return model;
}
