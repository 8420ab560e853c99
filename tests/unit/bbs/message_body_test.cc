#include "bbs/message_body.h"

#include <limits>

#include "unit/support/site_fixture.h"

namespace {

class MessageBody : public SiteFixture {
 protected:
  int Read(uint16_t where, uint16_t records) { return ReadMessageBody(path_.c_str(), where, records, &body_); }

  std::string Body() const { return {reinterpret_cast<const char*>(body_.data), body_.size}; }

  void ExpectBody(const std::string& text) const {
    EXPECT_EQ(Body(), text);
    ASSERT_LT(body_.size, body_.capacity);
    EXPECT_EQ(body_.data[body_.size], 0);
  }

  static std::string Record(uint8_t length, char filler) {
    return std::string(1, static_cast<char>(length)) + std::string(127, filler);
  }

  const std::string path_ = site_.Base(1).Path("DAT");
  ByteBuffer body_;
};

}  // namespace

TEST_F(MessageBody, JoinsTheTextOfItsRecords) {
  WriteFile(path_, Record(127, 'a') + Record(127, 'b') + Record(2, 'c') + Record(127, 'd'));
  ASSERT_EQ(Read(1, 2), 0);
  ExpectBody(std::string(127, 'b') + "cc");
  ASSERT_EQ(Read(0, 4), 0);
  ExpectBody(std::string(127, 'a') + std::string(127, 'b') + "cc" + std::string(127, 'd'));
}

TEST_F(MessageBody, StoredLineEndsBecomeCr) {
  WriteFile(path_, DatBytes("\x01Hello\x01\x01"
                            "B\ny\x01"));
  ASSERT_EQ(Read(0, 1), 0);
  ExpectBody("\rHello\r\rB\ny\r");
}

TEST_F(MessageBody, ALengthByteBeyond127CountsAs127) {
  for (const int length : {126, 127, 128, 200, 255}) {
    WriteFile(path_, Record(static_cast<uint8_t>(length), 'x') + Record(1, 'y'));
    ASSERT_EQ(Read(0, 2), 0);
    ExpectBody(std::string(length < 127 ? 126 : 127, 'x') + "y");
  }
}

TEST_F(MessageBody, EmptyRecordsAddNothing) {
  WriteFile(path_, Record(0, 'x') + Record(3, 'y') + Record(0, 'z'));
  ASSERT_EQ(Read(0, 3), 0);
  ExpectBody("yyy");
}

TEST_F(MessageBody, NoRecordsAreAnEmptyText) {
  WriteFile(path_, "");
  ASSERT_EQ(Read(65535, 0), 0);
  ExpectBody("");
}

TEST_F(MessageBody, NulsAreKept) {
  WriteFile(path_, DatBytes(std::string("a\0b", 3)));
  ASSERT_EQ(Read(0, 1), 0);
  ExpectBody(std::string("a\0b", 3));
}

TEST_F(MessageBody, TheLastRecordOfAFullFileIsRead) {
  WriteFile(path_, "");
  ResizeFile(path_, 65536 * 128);
  ASSERT_EQ(Read(65535, 1), 0);
  ExpectBody("");
  ASSERT_EQ(Read(1, 65535), 0);
  ExpectBody("");
  EXPECT_EQ(Read(65535, 2), -1);
}

TEST_F(MessageBody, RecordsThatAreNotThereAreAFailure) {
  WriteFile(path_, Record(5, 'x') + Record(5, 'y').substr(0, 127));
  EXPECT_EQ(Read(0, 1), 0);
  EXPECT_EQ(Read(0, 2), -1);
  EXPECT_EQ(Read(1, 1), -1);
  EXPECT_EQ(Read(2, 1), -1);
}

TEST_F(MessageBody, AMissingFileIsAFailure) { EXPECT_EQ(Read(0, 0), -1); }

TEST_F(MessageBody, AnyFailingCallIsAFailureWithoutAText) {
  WriteFile(path_, Record(5, 'x') + Record(5, 'y'));
  for (const uint16_t records : {uint16_t{2}, uint16_t{0}}) {
    for (const Call call : {Call::kOpen, Call::kReallocate, Call::kReadAt, Call::kClose}) {
      if (call == Call::kReadAt && records == 0) continue;  // nothing is read then
      FreeBytes(&body_);
      door_.Clear();
      door_.FailNth(call, 1);
      EXPECT_EQ(Read(0, records), -1);
      EXPECT_EQ(Body(), "");
      EXPECT_TRUE(door_.HasStruck());
      EXPECT_EQ(door_.OpenHandles(), 0);
    }
  }
  EXPECT_EQ(TakeLines(), Strings{});
}

TEST_F(MessageBody, TheMemoryIsUsedAgain) {
  WriteFile(path_, Record(127, 'a') + Record(1, 'b'));
  ASSERT_EQ(Read(0, 2), 0);
  const uint8_t* const memory = body_.data;
  ASSERT_EQ(Read(1, 1), 0);
  EXPECT_EQ(body_.data, memory);
  ExpectBody("b");
}
