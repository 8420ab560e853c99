#include "fuzz/model/records_model.h"

#include <zlib.h>

#include <algorithm>

uint16_t WordAt(const std::string& bytes, size_t at) {
  return static_cast<uint16_t>(static_cast<unsigned char>(bytes[at]) + 256 * static_cast<unsigned char>(bytes[at + 1]));
}

int32_t LongAt(const std::string& bytes, size_t at) {
  return static_cast<int32_t>(WordAt(bytes, at) + 65536U * WordAt(bytes, at + 2));
}

std::string Word(unsigned int value) { return {static_cast<char>(value % 256), static_cast<char>(value / 256 % 256)}; }

std::string Long(int64_t value) {
  const auto bits = static_cast<uint32_t>(value);
  return Word(bits % 65536) + Word(bits / 65536);
}

void Put(size_t at, const std::string& bytes, std::string* record) { record->replace(at, bytes.size(), bytes); }

std::string Prefixed(const std::string& text, size_t most) {
  const std::string kept = text.substr(0, most);
  return std::string(1, static_cast<char>(kept.size())) + kept;
}

std::string PrefixedAt(const std::string& record, size_t at, size_t most) {
  const size_t length = static_cast<unsigned char>(record[at]);
  return record.substr(at + 1, std::min(length, most)).c_str();
}

std::string DatRecords(const std::string& body) {
  std::string records;
  for (size_t at = 0; at == 0 || at < body.size(); at += 127) {
    std::string record = Prefixed(body.substr(at), 127);
    record.resize(128);
    records += record;
  }
  return records;
}

bool StoredText(const std::string& dat, size_t where, size_t records, std::string* text) {
  text->clear();
  for (size_t i = where; i < where + records; ++i) {
    if (dat.size() < 128 * (i + 1)) return false;
    const size_t length = static_cast<unsigned char>(dat[128 * i]);
    *text += dat.substr(128 * i + 1, std::min<size_t>(length, 127));
  }
  return true;
}

int64_t CrcOf(const std::string& name) {
  return crc32(0, reinterpret_cast<const Bytef*>(name.data()), static_cast<uInt>(name.size()));
}

bool IsSound(const std::string& ptr, const std::string& idx, const std::string& dat) {
  if (ptr.size() % 256 != 0 || idx.size() % 16 != 0 || dat.size() % 128 != 0) return false;
  if (idx.size() / 16 > ptr.size() / 256 || dat.size() / 128 > 65536) return false;
  if (ptr.empty()) return dat.empty();
  for (size_t at = 0; at < ptr.size(); at += 256) {
    const unsigned int records = WordAt(ptr, at + 162);
    if (ptr[at + 158] == 0 && (records == 0 || WordAt(ptr, at + 160) + records > dat.size() / 128)) return false;
  }
  return true;
}
