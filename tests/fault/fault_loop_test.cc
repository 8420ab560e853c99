// The loop itself: if it ended too early, every fault test would pass.
#include "fault/fault_loop.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "platform/os.h"
#include "unit/support/temporary_directory.h"
#include "unit/support/test_files.h"

namespace {

// Makes two directories and removes a file that is not there.
bool Play(const Fault& fault, std::set<std::string>* tried) {
  const TemporaryDirectory directory;
  ScopedDoor door;
  door.Fail(fault);
  (void)OsMakeDirectory((directory / "a").c_str());
  (void)OsMakeDirectory((directory / "b").c_str());
  (void)OsRemove((directory / "c").c_str());
  if (door.HasStruck()) tried->insert(Describe(fault));
  return door.HasStruck();
}

}  // namespace

TEST(FaultLoop, TriesEveryCallOnceAloneAndOnceForGood) {
  std::set<std::string> tried;
  EXPECT_EQ(TryFaults([&](const Fault& fault) { return Play(fault, &tried); }), 9);
  EXPECT_EQ(tried, (std::set<std::string>{"call 1 of kind MakeDirectory fails", "call 2 of kind MakeDirectory fails",
                                          "call 1 of kind MakeDirectory fails for good",
                                          "call 2 of kind MakeDirectory fails for good", "call 1 of kind Remove fails",
                                          "call 1 of kind Remove fails for good", "call 1 of kind call fails for good",
                                          "call 2 of kind call fails for good", "call 3 of kind call fails for good"}));
}

TEST(FaultLoop, TriesOnlyTheGivenPathsAndKinds) {
  std::set<std::string> tried;
  FaultLoop loop;
  loop.path_end = "/b";
  loop.everything = false;
  EXPECT_EQ(TryFaults([&](const Fault& fault) { return Play(fault, &tried); }, loop), 2);
  loop.except = {Call::kMakeDirectory};
  loop.path_end = "";
  loop.more_than = 1;
  EXPECT_EQ(TryFaults([&](const Fault& fault) { return Play(fault, &tried); }, loop), 2);
}

TEST(FaultLoop, BytesAlsoArriveShort) {
  const TemporaryDirectory directory;
  WriteFile(directory / "a", "ab");
  std::set<std::string> tried;
  const auto attempt = [&](const Fault& fault) {
    ScopedDoor door;
    door.Fail(fault);
    OsFile file;
    char bytes[2];
    if (OsOpen((directory / "a").c_str(), kOsRead, &file) == kOsOk) (void)OsReadAt(file, 0, bytes, sizeof bytes);
    if (fault.is_short && door.HasStruck()) tried.insert(Describe(fault));
    return door.HasStruck();
  };
  (void)TryFaults(attempt);
  EXPECT_EQ(tried,
            (std::set<std::string>{"call 1 of kind ReadAt is short", "call 1 of kind ReadAt is short for good"}));
}

TEST(FaultLoop, ASceneInWhichNoFaultTakesEffectFails) {
  EXPECT_NONFATAL_FAILURE((void)TryFaults([](const Fault&) { return false; }), "points");
}

TEST(FaultLoop, ABrokenPromiseNamesTheCall) {
  testing::TestPartResultArray failures;
  {
    const testing::ScopedFakeTestPartResultReporter reporter(&failures);
    (void)TryFaults([&](const Fault& fault) {
      if (fault.call == Call::kRename && fault.nth == 2) ADD_FAILURE() << "broken";
      return fault.nth <= 2;
    });
  }
  ASSERT_EQ(failures.size(), 2);
  for (int i = 0; i < 2; ++i) {
    const std::string message = failures.GetTestPartResult(i).message();
    EXPECT_NE(message.find("call 2 of kind Rename fails"), std::string::npos) << message;
  }
}
