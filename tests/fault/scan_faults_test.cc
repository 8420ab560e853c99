#include <gtest/gtest.h>

#include <initializer_list>

#include "fault/scan_scene.h"
#include "unit/support/test_files.h"

namespace {

UnsentMessage Unsent(int conference, const std::string& subject, const std::string& to = "All") {
  UnsentMessage message;
  message.conference = conference;
  message.subject = subject;
  message.to = to;
  return message;
}

// Conference 1 holds a message that arrived from the network; some serials are used up.
void LayEarlier(Site* site) {
  BaseMessage earlier;
  earlier.msgid = "2:5/6 old";
  site->Base(1).Add(earlier);
  WriteFile(site->Msg("CVOUTBOUND.SEQ"), "0041\r\n");  // longer than the next one
}

// Two messages go out, one of them a reply, and only the calls on those files fail, file by file.
void TryOnTheirOwn(std::initializer_list<const char*> path_ends) {
  ScanScene scene;
  scene.lay = LayEarlier;
  scene.messages = {Unsent(1, "first"), Unsent(2, "second")};
  scene.messages[0].parent = 1;
  for (const char* path_end : path_ends) {
    FaultLoop loop;
    loop.path_end = path_end;
    TryScanFaults(scene, loop);
  }
}

FaultLoop AtLeast(int points) {
  FaultLoop loop;
  loop.more_than = points;
  return loop;
}

}  // namespace

TEST(ScanFaults, TheFirstMessageOfANewSystem) {
  ScanScene scene;
  scene.messages = {Unsent(1, "first")};
  TryScanFaults(scene, AtLeast(150));
}

// Echomail, a reply among it, and netmail.
TEST(ScanFaults, SeveralConferences) {
  ScanScene scene;
  scene.lay = LayEarlier;
  scene.messages = {Unsent(1, "first"), Unsent(2, "second"), Unsent(3, "third", "Bob@1:2/3")};
  scene.messages[0].parent = 1;
  TryScanFaults(scene, AtLeast(300));
}

TEST(ScanFaults, NothingToExport) {
  ScanScene scene;
  scene.lay = LayEarlier;
  TryScanFaults(scene, AtLeast(80));
}

TEST(ScanFaults, TheSerialFileAndATextOnTheirOwn) { TryOnTheirOwn({".SEQ", "CVMSG02.DAT"}); }

TEST(ScanFaults, AQueueAndAPacketThatGrow) {
  ScanScene scene;
  for (int i = 0; i < 40; ++i) {
    scene.messages.push_back(Unsent(2, "subject " + std::to_string(i)));
    scene.messages.back().body = std::string(300, 'x');
  }
  FaultLoop loop = AtLeast(10);
  loop.everything = false;
  loop.except = {Call::kOpen,  Call::kSize, Call::kReadAt, Call::kWriteAt, Call::kWrite,  Call::kFlush,
                 Call::kClose, Call::kStat, Call::kRemove, Call::kRename,  Call::kSetSize};
  TryScanFaults(scene, loop);
}

TEST(PublishFaults, ThePacketAndTheBundle) { TryOnTheirOwn({"CVOUTBOUND.PKT", ".sa0.tmp", ".sa0"}); }

TEST(PublishFaults, TemporaryFilesOfARunThatWasKilled) {
  ScanScene scene;
  scene.lay = [](Site* site) {
    LayEarlier(site);
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
  TryScanFaults(scene, AtLeast(120));
  scene.lay = LayEarlier;
  FaultLoop loop = AtLeast(20);
  loop.path_end = ".SIG";
  TryScanFaults(scene, loop);
}

// The header is marked, but that fails to be said; each call of the verification, and of all else, fails as well.
TEST(CommitFaults, LookingWhetherTheHeaderIsMarked) {
  ScanScene scene;
  scene.messages = {Unsent(1, "first")};
  scene.spoil = [](ScopedDoor* door) { door->FailFrom(Call::kFlush, 1, "CVMSG01.PTR"); };
  TryScanFaults(scene, AtLeast(120));
}
