#include "bbs/name_crc.h"

#include <array>

namespace {

constexpr std::array<uint32_t, 256> MakeTable() {
  std::array<uint32_t, 256> table = {};
  for (uint32_t i = 0; i < 256; ++i) {
    uint32_t value = i;
    for (int bit = 0; bit < 8; ++bit) value = (value >> 1) ^ ((value & 1) != 0 ? 0xEDB88320U : 0);
    table[i] = value;
  }
  return table;
}

constexpr std::array<uint32_t, 256> kTable = MakeTable();

}  // namespace

uint32_t NameCrc(const char* name) {
  uint32_t crc = 0xFFFFFFFFU;
  for (; *name != '\0'; ++name) crc = (crc >> 8) ^ kTable[(crc ^ static_cast<uint8_t>(*name)) & 0xFF];
  return ~crc;
}
