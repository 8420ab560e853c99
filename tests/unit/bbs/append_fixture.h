// A message to be appended to conference 7, and the message base before that.
#pragma once

#include <cstring>

#include "bbs/checked_append.h"
#include "bbs/preflight.h"
#include "unit/support/site_fixture.h"

class AppendFixture : public SiteFixture {
 protected:
  static constexpr char kBeyondRange[] =
      "ERROR: conf 7 append would exceed Corvane's 16-bit DAT address range; refusing to append";
  static constexpr char kNoMemory[] = "ERROR: out of memory while preparing message body for conf 7";

  AppendFixture() {
    message_.date = "03/07/24 09:05pm";
    message_.from = "Ann Author";
    message_.to = "Bob Reader";
    message_.subject = "A subject";
    message_.origin = "229/426";
    message_.msgid = "1:2/3 0a1b";
    SetBody("Hello\x01");
  }

  void SetBody(const std::string& body) {
    body_ = body;
    message_.body = BytesOf(body_);
    message_.body_size = body_.size();
  }

  // As the toss does: a preflight, the highest number (unless the message has one), the append. The calls of the
  // preflight are not counted and do not fail.
  int AppendTo(int32_t conference) {
    OsTable& table = OsInForce();
    const OsTable door = table;
    table = kOsNative;
    PreflightResult base;
    EXPECT_EQ(PreflightMessageBase(site_.Msg().c_str(), conference, false, &base), 0);
    const PtrScan scan = ScanPtrFile(site_.Base(conference).Path("PTR").c_str(), 0, base.dat_count);
    table = door;
    NewMessage message = message_;
    if (message.highest == 0) message.highest = scan.highest;
    return CheckedAppend(site_.Msg().c_str(), &no_lock_, conference, base, message) == kAppended ? 0 : -1;
  }

  int Append() { return AppendTo(7); }

  // A message at the start of a DAT file of `records` records.
  void LayFullDat(int64_t records) const {
    base_.Add({});
    ResizeFile(base_.Path("DAT"), records * 128);
  }

  // The append fails with that line, and nothing is opened.
  void ExpectUntouched(const std::string& line) {
    const auto before = site_.Files();
    const int opened = door_.Count(Call::kOpen);
    EXPECT_EQ(Append(), -1);
    EXPECT_EQ(TakeLines(), Strings{line});
    EXPECT_EQ(door_.Count(Call::kOpen), opened);
    EXPECT_EQ(site_.Files(), before);
  }

  const TestMessageBase base_ = site_.Base(7);
  NewMessage message_;
  std::string body_;
};
