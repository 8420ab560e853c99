#include "fault/run_promises.h"
#include "fault/toss_scene.h"

#include <gtest/gtest.h>

#include "toss/toss_run.h"
#include "unit/support/captured_log.h"
#include "unit/support/fake_clock.h"
#include "unit/support/fake_process.h"
#include "unit/support/packet_bytes.h"
#include "unit/support/test_files.h"

namespace {

SceneMessage Echo(int conference, const std::string& subject, const std::string& msgid) {
  SceneMessage message;
  message.conference = conference;
  message.area = conference == 1 ? "general" : "FIDO";
  message.subject = subject;
  message.msgid = msgid;
  return message;
}

SceneMessage Netmail(const std::string& subject, const std::string& msgid) {
  SceneMessage message;
  message.conference = 3;
  message.area = "";
  message.subject = subject;
  message.msgid = msgid;
  return message;
}

}  // namespace

// Of one failure the whole log; of all others the loops ask for the line of the call and for no other alarm.
TEST(TossFaults, TheWholeLogWhenAnIndexCannotBeWritten) {
  const Site site;
  PacketMessage messages[2];
  messages[0].text = EchoText("GENERAL", "1:2/3 a", "Hello\r");
  messages[1].text = EchoText("FIDO", "1:2/3 b", "Hello\r");
  WriteFile(site.In("a.pkt"), PacketBytes({messages[0], messages[1]}));
  const FakeClock clock;
  const FakeProcess process(site.ProgramFile());
  const CapturedLog log;
  ScopedDoor door;
  door.FailNth(Call::kWriteAt, 1, "CVMSG01.IDX");
  EXPECT_EQ(RunToss(site.config), 1);
  const std::vector<std::string> expected = {
      "=== cvtoss32 v1.05 Beta 5 -toss run starting ===",
      "Inbound dir: <site>/in   Config dir: <site>/conf   Work dir: <site>/conf/WORK   Message dir: <site>/msg",
      "Processed files: kept (archived)",
      "Loaded 4 conference(s) from CVMCONF.DAT",
      "Node check: 1 node record(s), all idle",
      "Found: a.pkt",
      "  packet: orig 1:229/426.0 -> dest 1:229/100.0  (month field is 0-based; 2025-01-05)",
      "ERROR: checked message-base append failed for conf 1",
      "  conf 1 append failed; DAT/IDX/PTR/SIG restored to their original sizes",
      "  msg 1: message-base append failed; source packet will be retained",
      "  -> wrote conf 2 msg #1  From='Ann Author' To='All' Subj='Hello' (1 records)",
      "  2 message(s) parsed from this packet",
      "  retaining packet in inbound because a message-base append failed",
      "=== cvtoss32 -toss run complete: 0 file(s) processed ===",
  };
  EXPECT_EQ(LinesOf(log, site), expected);
  CountFaultPoints(1);
}

TEST(TossFaults, IntoNewConferences) {
  TossScene scene;
  scene.messages = {Echo(1, "first", "1:2/3 a"), Netmail("second", "1:2/3 b")};
  TryTossFaults(scene, MoreThan(200));
}

TEST(TossFaults, IntoExistingConferences) {
  TossScene scene;
  scene.lay = LayOtherMail;
  scene.messages = {Echo(1, "first", "1:2/3 a"), Echo(2, "second", "1:2/3 b")};
  scene.messages[0].reply = "2:5/6 old";
  TryTossFaults(scene, MoreThan(200));
}

TEST(TossFaults, SeveralMessagesIntoOneConference) {
  TossScene scene;
  scene.messages = {Echo(1, "first", "1:2/3 a"), Echo(1, "second", "1:2/3 b")};
  TryTossFaults(scene, MoreThan(200));
}

TEST(TossFaults, WithoutMsgids) {
  TossScene scene;
  scene.lay = LayOtherMail;
  scene.messages = {Echo(1, "first", ""), Netmail("second", "")};
  TryTossFaults(scene, MoreThan(150));
}

TEST(TossFaults, ABodyOfManyRecords) {
  TossScene scene;
  scene.lay = LayOtherMail;
  scene.messages = {Echo(1, "long", "1:2/3 a")};
  scene.messages[0].body = std::string(40 * 127 + 5, 'x') + "\x01";
  TryTossFaults(scene, MoreThan(150));
}

TEST(TossFaults, ABundleOfSeveralPackets) {
  TossScene scene;
  scene.packing = Packing::kBundle;
  scene.messages = {Echo(1, "first", "1:2/3 a"), Echo(2, "second", "1:2/3 b"), Netmail("third", "1:2/3 c")};
  TryTossFaults(scene, MoreThan(300));
}

TEST(TossFaults, ADamagedPacket) {
  TossScene scene;
  scene.packing = Packing::kDamagedPacket;
  scene.messages = {Echo(1, "first", "1:2/3 a")};
  TryTossFaults(scene, MoreThan(150));
}

TEST(TossFaults, ADamagedPacketThatIsDeletedWhenItsCopyIsWhole) {
  TossScene scene;
  scene.packing = Packing::kDamagedPacket;
  scene.lay = [](Site* site) { site->config.KeepProcessed = 0; };
  scene.messages = {Echo(1, "first", "1:2/3 a")};
  TryTossFaults(scene, MoreThan(150));
}

TEST(TossFaults, ARetainedPacketTossedAgain) {
  TossScene scene;
  scene.messages = {Echo(1, "first", "1:2/3 a"), Echo(1, "second", "1:2/3 b")};
  scene.messages[0].stored_before = true;
  TryTossFaults(scene, MoreThan(150));
  for (const char* path_end : {".DAT", ".IDX", ".PTR", kSceneSource, ".BSY"}) {
    FaultLoop loop;
    loop.path_end = path_end;
    TryTossFaults(scene, loop);
  }
}

TEST(TossFaults, UnknownAreasGoToTheCatchAll) {
  TossScene scene;
  scene.lay = [](Site* site) {
    LayOtherMail(site);
    site->WriteConferences({{"General", "GENERAL"}, {"Others", "*"}, {"Netmail", "", false, true}});
  };
  scene.messages = {Echo(2, "first", "1:2/3 a")};
  scene.messages[0].area = "NOWHERE";
  scene.messages[0].is_parked = true;
  TryTossFaults(scene, MoreThan(150));
}

TEST(TossFaults, FilesThatAreDeletedWhenTheyAreDone) {
  TossScene scene;
  scene.lay = [](Site* site) { site->config.KeepProcessed = 0; };
  scene.messages = {Echo(1, "first", "1:2/3 a")};
  TryTossFaults(scene, MoreThan(100));
}

TEST(TossFaults, AProcessedDirectoryThatHasToBeMade) {
  TossScene scene;
  scene.lay = [](Site* site) { site->config.ProcessedDir[0] = '\0'; };
  scene.messages = {Echo(1, "first", "1:2/3 a")};
  TryTossFaults(scene, MoreThan(100));
}

TEST(TossFaults, AnOlderFileOfThatNameInTheProcessedDirectory) {
  TossScene scene;
  scene.lay = [](Site* site) { WriteFile(site->Done(kSceneSource), "older"); };
  scene.messages = {Echo(1, "first", "1:2/3 a")};
  TryTossFaults(scene, MoreThan(100));
}

// The append fails in any case; each call of its rollback, and of all else, fails as well.
TEST(TossFaults, RollingBackANewConference) {
  for (const char* kind : {".DAT", ".PTR", ".SIG"}) {
    TossScene scene;
    scene.spoil = [kind](ScopedDoor* door) { door->FailFrom(Call::kWriteAt, 1, kind); };
    scene.messages = {Echo(1, "first", "1:2/3 a")};
    TryTossFaults(scene, MoreThan(100));
  }
}

// As above, where a pipe stands in place of a file.
TEST(TossFaults, RollingBackWhatHasNoPositions) {
  for (const char* kind : {".DAT", ".IDX", ".PTR", ".SIG"}) {
    TossScene scene;
    scene.spoil = [kind](ScopedDoor* door) {
      Fault unseekable;
      unseekable.call = Call::kWriteAt;
      unseekable.for_good = true;
      unseekable.answer = kOsUnseekable;
      unseekable.path_end = kind;
      door->Fail(unseekable);
    };
    scene.messages = {Echo(1, "first", "1:2/3 a")};
    FaultLoop loop = MoreThan(4);
    loop.path_end = ".SIG";
    TryTossFaults(scene, loop);
  }
}

TEST(TossFaults, RollingBackAnExistingConference) {
  for (const char* kind : {".IDX", ".SIG"}) {
    TossScene scene;
    scene.lay = LayOtherMail;
    scene.spoil = [kind](ScopedDoor* door) { door->FailFrom(Call::kWriteAt, 1, kind); };
    scene.messages = {Echo(1, "first", "1:2/3 a"), Echo(2, "second", "")};
    TryTossFaults(scene, MoreThan(100));
  }
}

// One append fails, and when its rollback fails as well, what it has left is there when the next message comes.
TEST(TossFaults, RollingBackBetweenTwoMessages) {
  for (const bool stood_before : {false, true}) {
    TossScene scene;
    if (stood_before) scene.lay = LayOtherMail;
    scene.spoil = [](ScopedDoor* door) { door->FailNth(Call::kWriteAt, 1, ".PTR"); };
    scene.messages = {Echo(1, "first", "1:2/3 a"), Echo(1, "second", "1:2/3 b")};
    for (const char* path_end : {".DAT", ".IDX", ".PTR", ".SIG"}) {
      FaultLoop loop = MoreThan(20);
      loop.path_end = path_end;
      TryTossFaults(scene, loop);
    }
  }
}

// As above, where half of the first text may stay.
TEST(TossFaults, RollingBackHalfATextBetweenTwoMessages) {
  TossScene scene;
  scene.spoil = [](ScopedDoor* door) {
    Fault half;
    half.call = Call::kWriteAt;
    half.is_short = true;
    half.path_end = ".DAT";
    door->Fail(half);
    door->FailNth(Call::kWriteAt, 2, ".DAT");
  };
  scene.messages = {Echo(1, "first", "1:2/3 a"), Echo(1, "second", "1:2/3 b")};
  FaultLoop loop = MoreThan(20);
  loop.path_end = ".DAT";
  TryTossFaults(scene, loop);
}

// What a close may fail to write is lost without a trace, so that it counts as a failed write: the message is taken
// back and its source stays.
TEST(TossFaults, AFailedCloseOfAnyFileTakesTheMessageBack) {
  for (const char* kind : {"CVMSG01.DAT", "CVMSG01.IDX", "CVMSG01.PTR", "CVMSG01.SIG"}) {
    for (const bool stood_before : {false, true}) {
      SCOPED_TRACE(std::string(kind) + (stood_before ? ", in an existing conference" : ""));
      int closes = 0;
      for (const bool fails : {false, true}) {
        const Site site;
        if (stood_before) LayOtherMail(&site);
        PacketMessage message;
        message.text = EchoText("GENERAL", "1:2/3 a", "Hello\r");
        WriteFile(site.In("a.pkt"), PacketBytes({message}));
        const auto before = site.Files();
        FakeClock clock;
        const FakeProcess process(site.ProgramFile());
        const CapturedLog log;
        ScopedDoor door;
        if (fails) door.FailNth(Call::kClose, closes, kind);  // the last of them is that of the append
        EXPECT_EQ(RunToss(site.config), fails ? 1 : 0);
        EXPECT_EQ(log.CountOf("  conf 1 append failed; DAT/IDX/PTR/SIG restored to their original sizes"), fails);
        EXPECT_EQ(log.CountOf("  msg 1: message-base append failed; source packet will be retained"), fails);
        EXPECT_EQ(PathExists(site.In("a.pkt")), fails);
        if (fails) {
          EXPECT_EQ(site.Files(), before);
        }
        CountFaultPoints(fails ? 1 : 0);
        closes = door.Count(Call::kClose, kind);
        EXPECT_GE(closes, 1);
      }
    }
  }
}
