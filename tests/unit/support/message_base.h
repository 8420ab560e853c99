// Builds and reads a conference's message base for tests, by the offsets of the format and not by the code under test.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

// One message; the texts of the header must fit their fields.
struct BaseMessage {
  std::string date = "03/07/24 09:05pm";
  std::string from = "Ann Author";
  std::string to = "All";
  std::string subject = "Hello";
  std::string body = "Hello\x01";  // lines ended by 0x01
  std::string origin;
  std::string msgid;  // empty: no line in the SIG file
  bool netmail = false;
  bool sent = true;
  bool is_reply = false;
  bool is_private = false;
  bool deleted = false;
  int32_t number = 0;      // 0: one more than the highest there is
  int32_t thread_ref = 0;  // 0: its own number
  // Set by TestMessageBase.
  uint16_t where = 0;
  uint16_t records = 0;
  uint16_t conference = 0;
};

// The 256 bytes of a header, the 16 of an index record, and as many DatRecords of 128 bytes as the text takes.
std::string PtrBytes(const BaseMessage& message);
std::string IdxBytes(const BaseMessage& message);
std::string DatBytes(const std::string& body);

// The message of a header of 256 bytes, without its text and its MSGID.
BaseMessage HeaderOf(const std::string& ptr);

// The CRC-32 of a name, by zlib.
uint32_t CrcOf(const std::string& name);

// Little-endian integers.
std::string Word(uint16_t value);
std::string Long(uint32_t value);

// A length-prefixed text in a field of `width` bytes, the length byte included.
std::string PrefixedText(const std::string& text, size_t width);

// Returns all messages of the four files of a conference, given by kind, in order. Anything but whole messages fails
// the test: headers, index records and texts that do not belong together, or a SIG file that is not one line for each
// message with a MSGID.
std::vector<BaseMessage> ReadMessages(const std::map<std::string, std::string>& files);

// The files of one conference in `msg_dir`.
class TestMessageBase {
 public:
  TestMessageBase(std::string msg_dir, int conference) : msg_dir_(std::move(msg_dir)), conference_(conference) {}

  // The path of the file of that kind: "PTR", "IDX", "DAT" or "SIG".
  std::string Path(const std::string& kind) const;

  // Appends a message to the files, as the BBS does.
  void Add(BaseMessage message) const;

  // All messages, as ReadMessages returns them.
  std::vector<BaseMessage> Read() const { return ReadMessages(Bytes()); }

  // The bytes of each of the four files that is there, by kind.
  std::map<std::string, std::string> Bytes() const;

 private:
  std::string msg_dir_;
  int conference_;
};
