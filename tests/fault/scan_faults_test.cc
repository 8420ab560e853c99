#include <gtest/gtest.h>

#include <initializer_list>

#include "fault/run_promises.h"
#include "fault/scan_scene.h"
#include "scan/scan_run.h"
#include "unit/support/fake_clock.h"
#include "unit/support/test_files.h"

namespace {

// Conference 1 holds a message that arrived from the network; some serials are used up.
void LayEarlierMailAndSerial(Site* site) {
  LayReceivedMail(site);
  WriteFile(site->Msg("CVOUTBOUND.SEQ"), "0041\r\n");  // longer than the next one
}

// Two messages go out, one of them a reply, and only the calls on those files fail, file by file.
void TryOnTheirOwn(std::initializer_list<const char*> path_ends) {
  ScanScene scene;
  scene.lay = LayEarlierMailAndSerial;
  scene.messages = {Unsent(1, "first"), Unsent(2, "second")};
  scene.messages[0].parent = 1;
  for (const char* path_end : path_ends) {
    FaultLoop loop;
    loop.path_end = path_end;
    TryScanFaults(scene, loop);
  }
}

}  // namespace

// Of one failure the whole log; of all others the loops ask for the line of the call and for no other alarm.
TEST(ScanFaults, TheWholeLogWhenAMessageCannotBeMarkedSent) {
  const Site site;
  BaseMessage unsent;
  unsent.sent = false;
  unsent.from = "Ann Author";
  unsent.to = "All";
  unsent.subject = "Hello";
  for (const int conference : {1, 2}) site.Base(conference).Add(unsent);
  const FakeClock clock;
  const FakeProcess process(site.ProgramFile());
  const CapturedLog log;
  ScopedDoor door;
  door.FailFrom(Call::kWriteAt, 1, "CVMSG01.PTR");
  EXPECT_EQ(RunScan(site.config), 1);
  const std::vector<std::string> expected = {
      "=== cvtoss32 v1.05 Beta 5 -scan run starting ===",
      "Config dir: <site>/conf   Work dir: <site>/conf/WORK   Message dir: <site>/msg   Outbound dir: <site>/out",
      "Our address: 1:229/426   Hub address: 1:229/100   System name: Harbour BBS   Packet: no password set",
      "Loaded 4 conference(s) from CVMCONF.DAT",
      "Node check: 1 node record(s), all idle",
      "  queued conf 1 msg #1  From='Ann Author' To='All' Subj='Hello'  MSGID=1:229/426 00000001",
      "  queued conf 2 msg #1  From='Ann Author' To='All' Subj='Hello'  MSGID=1:229/426 00000002",
      "Published complete bundle: <site>/out/6917c9dc.sa0  (471 byte packet, entry '6917c9dc.pkt', 2 message(s))",
      "ERROR: bundle exists, but could not mark conf 1 msg #1 sent; its SIG append was rolled back and it remains safe to retry",
      "=== cvtoss32 -scan completed with COMMIT ERRORS: bundle is valid and retained; review log before retry ===",
  };
  EXPECT_EQ(LinesOf(log, site), expected);
  CountFaultPoints(1);
}

TEST(ScanFaults, TheFirstMessageOfANewSystem) {
  ScanScene scene;
  scene.messages = {Unsent(1, "first")};
  TryScanFaults(scene, MoreThan(150));
}

// Echomail, a reply among it, and netmail.
TEST(ScanFaults, SeveralConferences) {
  ScanScene scene;
  scene.lay = LayEarlierMailAndSerial;
  scene.messages = {Unsent(1, "first"), Unsent(2, "second"), Unsent(3, "third", "Bob@1:2/3")};
  scene.messages[0].parent = 1;
  TryScanFaults(scene, MoreThan(300));
}

TEST(ScanFaults, NothingToExport) {
  ScanScene scene;
  scene.lay = LayEarlierMailAndSerial;
  TryScanFaults(scene, MoreThan(80));
}

TEST(ScanFaults, TheSerialFileAndATextOnTheirOwn) { TryOnTheirOwn({".SEQ", "CVMSG02.DAT"}); }

TEST(ScanFaults, AQueueAndAPacketThatGrow) {
  ScanScene scene;
  for (int i = 0; i < 40; ++i) {
    scene.messages.push_back(Unsent(2, "subject " + std::to_string(i)));
    scene.messages.back().body = std::string(300, 'x');
  }
  FaultLoop loop = MoreThan(10);
  loop.everything = false;
  loop.except = {Call::kOpen,  Call::kSize, Call::kReadAt, Call::kWriteAt, Call::kWrite,
                 Call::kClose, Call::kStat, Call::kRemove, Call::kRename,  Call::kSetSize};
  TryScanFaults(scene, loop);
}

TEST(PublishFaults, ThePacketAndTheBundle) { TryOnTheirOwn({"CVOUTBOUND.PKT", ".sa0.tmp", ".sa0"}); }

TEST(PublishFaults, TemporaryFilesOfARunThatWasKilled) {
  ScanScene scene;
  scene.lay = [](Site* site) {
    LayEarlierMailAndSerial(site);
    WriteFile(site->Msg("CVOUTBOUND.PKT"), std::string(3000, 'x'));
    WriteFile(site->Out("6917c9dc.sa0.tmp"), std::string(3000, 'x'));
  };
  scene.messages = {Unsent(1, "first")};
  for (const char* path_end : {"CVOUTBOUND.PKT", ".sa0.tmp"}) {
    FaultLoop loop;
    loop.path_end = path_end;
    TryScanFaults(scene, loop);
  }
}

TEST(CommitFaults, SigFilesAndHeaders) { TryOnTheirOwn({"CVMSG01.SIG", "CVMSG02.SIG", "CVMSG01.PTR", "CVMSG02.PTR"}); }

// The header cannot be marked in any case; each call of the rollback, and of all else, fails as well.
TEST(CommitFaults, TakingTheSigLineBack) {
  ScanScene scene;
  scene.messages = {Unsent(1, "first")};
  scene.spoil = [](ScopedDoor* door) { door->FailFrom(Call::kWriteAt, 1, "CVMSG01.PTR"); };
  TryScanFaults(scene, MoreThan(120));
  scene.lay = LayEarlierMailAndSerial;
  FaultLoop loop = MoreThan(20);
  loop.path_end = ".SIG";
  TryScanFaults(scene, loop);
}

// The header is marked, but that fails to be said; each call of the verification, and of all else, fails as well.
TEST(CommitFaults, LookingWhetherTheHeaderIsMarked) {
  ScanScene scene;
  scene.messages = {Unsent(1, "first")};
  scene.spoil = [](ScopedDoor* door) { door->FailFrom(Call::kClose, 3, "CVMSG01.PTR"); };
  TryScanFaults(scene, MoreThan(120));
}
