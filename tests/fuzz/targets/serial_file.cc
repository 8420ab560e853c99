// The file of serials: the next one is never a serial that was used before.
#include <cstdlib>

#include "fuzz/model/plain_text.h"
#include "fuzz/support/input.h"
#include "fuzz/support/memory_files.h"
#include "fuzz/support/rule.h"
#include "platform/os.h"
#include "scan/msgid_serial.h"

namespace {

constexpr char kPath[] = "msg/CVOUTBOUND.SEQ";
constexpr size_t kLongest = 1023;  // far more than a number and a line end
constexpr char kWhiteSpace[] = " \t\n\v\f\r";

// Reads the number at the start of the file, as "%u" does. Returns false when there is none, or it exceeds 32 bits.
bool LastSerial(const std::string& content, uint32_t* last) {
  const std::string text = TrimmedStart(content, kWhiteSpace);
  const size_t sign = !text.empty() && (text[0] == '-' || text[0] == '+') ? 1 : 0;
  const std::string digits = text.substr(sign, text.find_first_not_of("0123456789", sign) - sign);
  if (digits.empty()) return false;
  const std::string number = TrimmedStart(digits, "0");
  const unsigned long long value = strtoull(number.c_str(), nullptr, 10);
  if (number.size() > 10 || value > UINT32_MAX) return false;
  *last = static_cast<uint32_t>(value) * (text[0] == '-' ? -1U : 1U);
  return true;
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  MemoryFiles system;
  const std::string content = Input(data, size).TakeBytes(kLongest);
  system.files[kPath] = content;
  uint32_t last = 0;
  const bool readable = LastSerial(content, &last) || TrimmedStart(content, kWhiteSpace).empty();
  uint32_t serial = 0;
  const int result = NextSerial("msg", &serial);
  if (!readable) {
    MustEqual(result, -1, "what is no number is no serial");
    MustEqual(system.Content(kPath), content, "a file that cannot be read is left as it is");
    return 0;
  }
  MustEqual(result, 0, "a number or nothing gives a serial");
  MustEqual(serial, last == UINT32_MAX ? 1 : last + 1, "the next serial is one more, and never 0");
  MustEqual(system.Content(kPath), std::to_string(serial) + kOsLineEnd, "the file holds the serial and no more");
  return 0;
}
