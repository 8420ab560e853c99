// UTF-8 to code page 437, against a decoder that works on the bits as text.
#include "ftn/cp437.h"
#include "fuzz/model/packet_model.h"
#include "fuzz/support/input.h"
#include "fuzz/support/rule.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text = Input(data, size).TakeRest();
  const ExactCopy copy(text);
  const size_t length = Utf8ToCp437(copy.Data(), size);
  Must(length <= size, "a conversion never makes a text longer");
  const std::string converted(reinterpret_cast<const char*>(copy.Data()), length);
  MustEqual(converted, InCp437(text), "each character becomes its byte, and each bad byte a question mark");
  if (text.find_first_not_of("\x01\t\r\n !\"'-./0123456789:?ABCabc") == std::string::npos) {
    MustEqual(converted, text, "plain text is left alone");
  }
  return 0;
}
