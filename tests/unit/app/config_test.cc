#include "app/config.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "unit/support/captured_log.h"
#include "unit/support/scoped_door.h"
#include "unit/support/temporary_directory.h"
#include "unit/support/test_files.h"

namespace {

class Config : public testing::Test {
 protected:
  TemporaryDirectory directory_;
  const std::string path_ = directory_ / "test.cfg";
  CapturedLog log_;
  TosserConfig config_;

  // Loads a file of this content into fresh defaults.
  int Load(const std::string& content) {
    WriteFile(path_, content);
    log_.Clear();
    config_ = TosserConfig{};
    const int result = LoadConfig(path_.c_str(), &config_);
    EXPECT_EQ(log_.StandardOutput(), "");
    return result;
  }

  // What a file of this content, which must fail, reports.
  Strings Complaints(const std::string& content) {
    EXPECT_EQ(Load(content), -1);
    return log_.StartupLines();
  }

  // What a file of this content, which must load, reports.
  Strings Warnings(const std::string& content) {
    EXPECT_EQ(Load(content), 0);
    return log_.StartupLines();
  }

  std::string Ours() const { return Text(config_.OurAddress); }
  std::string Hub() const { return Text(config_.HubAddress); }

  static std::string Text(const FtnAddress& address) {
    return std::to_string(address.Zone) + "," + std::to_string(address.Net) + "," + std::to_string(address.Node) + "," +
           std::to_string(address.Point);
  }
};

}  // namespace

TEST_F(Config, AnEmptyFileLeavesTheDefaults) {
  EXPECT_EQ(Warnings(""), Strings{});
  EXPECT_STREQ(config_.Inbound, "");
  EXPECT_STREQ(config_.ConfDir, "");
  EXPECT_STREQ(config_.WorkDir, "");
  EXPECT_STREQ(config_.MsgDir, "");
  EXPECT_STREQ(config_.OutDir, "");
  EXPECT_STREQ(config_.SystemName, "");
  EXPECT_STREQ(config_.PacketPassword, "");
  EXPECT_STREQ(config_.ProcessedDir, "");
  EXPECT_EQ(config_.KeepProcessed, 1);
  EXPECT_EQ(Ours(), "0,0,0,0");
  EXPECT_EQ(Hub(), "0,0,0,0");
  EXPECT_EQ(config_.HaveInbound + config_.HaveConfDir + config_.HaveMsgDir + config_.HaveOutDir + config_.HaveSystem +
                config_.HaveAddress + config_.HaveHub,
            0);
}

TEST_F(Config, EveryDirectiveHasItsField) {
  EXPECT_EQ(Warnings("INBOUND in\nCONFDIR conf\nWORKDIR work\nMSGDIR msg\nOUTDIR out\nSYSTEM My BBS\n"
                     "ADDRESS 2:250/1.7\nHUB 2:250/0\nPKTPW secret\nKEEPPROCESSED no\nPROCESSEDDIR done\n"),
            Strings{});
  EXPECT_STREQ(config_.Inbound, "in");
  EXPECT_STREQ(config_.ConfDir, "conf");
  EXPECT_STREQ(config_.WorkDir, "work");
  EXPECT_STREQ(config_.MsgDir, "msg");
  EXPECT_STREQ(config_.OutDir, "out");
  EXPECT_STREQ(config_.SystemName, "My BBS");
  EXPECT_STREQ(config_.PacketPassword, "secret");
  EXPECT_STREQ(config_.ProcessedDir, "done");
  EXPECT_EQ(config_.KeepProcessed, 0);
  EXPECT_EQ(Ours(), "2,250,1,7");
  EXPECT_EQ(Hub(), "2,250,0,0");
}

TEST_F(Config, EachPresenceFlagIsSetByItsOwnDirectiveOnly) {
  const std::vector<std::pair<const char*, int TosserConfig::*>> flags = {
      {"INBOUND x", &TosserConfig::HaveInbound}, {"CONFDIR x", &TosserConfig::HaveConfDir},
      {"MSGDIR x", &TosserConfig::HaveMsgDir},   {"OUTDIR x", &TosserConfig::HaveOutDir},
      {"SYSTEM x", &TosserConfig::HaveSystem},   {"ADDRESS 1:2/3", &TosserConfig::HaveAddress},
      {"HUB 1:2/3", &TosserConfig::HaveHub}};
  for (const auto& [line, own] : flags) {
    ASSERT_EQ(Load(line), 0) << line;
    for (const auto& [other, flag] : flags) EXPECT_EQ(config_.*flag, flag == own ? 1 : 0) << line << " and " << other;
  }
}

TEST_F(Config, KeywordsAreCaseInsensitiveBlanksTrimmedAndSlashesTurned) {
  EXPECT_EQ(Warnings("inbound  C:/bbs/in  \n"), Strings{});
  EXPECT_STREQ(config_.Inbound, "C:\\bbs\\in");
  EXPECT_EQ(Warnings("\t InBound\t \tC:/bbs/in\t \r\n"), Strings{});
  EXPECT_STREQ(config_.Inbound, "C:\\bbs\\in");
}

TEST_F(Config, CommentsAndBlankLinesAreSkipped) {
  EXPECT_EQ(Warnings("   ; comment\n\n \t \n;INBOUND x\n\r\n"), Strings{});
  EXPECT_EQ(config_.HaveInbound, 0);
}

TEST_F(Config, ASemicolonLaterInALineBelongsToTheValue) {
  EXPECT_EQ(Warnings("MSGDIR x ; y\n"), Strings{});
  EXPECT_STREQ(config_.MsgDir, "x ; y");
}

TEST_F(Config, TheValueKeepsInnerBlanksAndItsCase) {
  EXPECT_EQ(Warnings("SYSTEM  The  Old\tBBS \n"), Strings{});
  EXPECT_STREQ(config_.SystemName, "The  Old\tBBS");
}

TEST_F(Config, ALineMayEndWithTheFileOrInCrLf) {
  EXPECT_EQ(Warnings("INBOUND a\r\nMSGDIR b"), Strings{});
  EXPECT_STREQ(config_.Inbound, "a");
  EXPECT_STREQ(config_.MsgDir, "b");
}

TEST_F(Config, SlashesTurnInTheSixDirectoriesAndNowhereElse) {
  EXPECT_EQ(Warnings("INBOUND a/b\nCONFDIR c/d\nWORKDIR e/f\nMSGDIR g/h\nOUTDIR i/j\nPROCESSEDDIR k/l\nSYSTEM m/n\n"
                     "PKTPW o/p\n"),
            Strings{});
  EXPECT_STREQ(config_.Inbound, "a\\b");
  EXPECT_STREQ(config_.ConfDir, "c\\d");
  EXPECT_STREQ(config_.WorkDir, "e\\f");
  EXPECT_STREQ(config_.MsgDir, "g\\h");
  EXPECT_STREQ(config_.OutDir, "i\\j");
  EXPECT_STREQ(config_.ProcessedDir, "k\\l");
  EXPECT_STREQ(config_.SystemName, "m/n");
  EXPECT_STREQ(config_.PacketPassword, "o/p");
}

TEST_F(Config, ALaterLineOverwritesTheEarlierValue) {
  EXPECT_EQ(Warnings("INBOUND long name\nINBOUND b\nADDRESS 1:2/3.4\nADDRESS 5:6/7\nKEEPPROCESSED no\n"
                     "KEEPPROCESSED yes\n"),
            Strings{});
  EXPECT_STREQ(config_.Inbound, "b");
  EXPECT_EQ(Ours(), "5,6,7,0");
  EXPECT_EQ(config_.KeepProcessed, 1);
}

TEST_F(Config, ADirectoryOf255CharactersIsAcceptedAndOneOf256Rejected) {
  for (const std::string keyword : {"INBOUND", "CONFDIR", "WORKDIR", "MSGDIR", "OUTDIR", "PROCESSEDDIR"}) {
    const std::string rest = "\nWORKDIR w\n";  // so that none is derived from the long CONFDIR
    EXPECT_EQ(Warnings(keyword + " " + std::string(255, 'x') + rest), Strings{}) << keyword;
    EXPECT_EQ(Complaints(keyword + " " + std::string(256, 'x') + rest),
              Strings{"Config directive " + keyword + " is too long (maximum 255 characters)"});
  }
  ASSERT_EQ(Load("INBOUND " + std::string(255, 'x')), 0);
  EXPECT_EQ(config_.Inbound, std::string(255, 'x'));
}

TEST_F(Config, APasswordOf8CharactersIsAcceptedAndOneOf9Rejected) {
  EXPECT_EQ(Warnings("PKTPW 12345678\n"), Strings{});
  EXPECT_STREQ(config_.PacketPassword, "12345678");
  EXPECT_EQ(Complaints("PKTPW 123456789\n"), Strings{"Config directive PKTPW is too long (maximum 8 characters)"});
  EXPECT_STREQ(config_.PacketPassword, "");
}

TEST_F(Config, ASystemNameOf63CharactersIsAcceptedAndOneOf64Rejected) {
  EXPECT_EQ(Warnings("SYSTEM " + std::string(63, 'x')), Strings{});
  EXPECT_EQ(config_.SystemName, std::string(63, 'x'));
  EXPECT_EQ(Complaints("SYSTEM " + std::string(64, 'x')),
            Strings{"Config directive SYSTEM is too long (maximum 63 characters)"});
  EXPECT_EQ(config_.HaveSystem, 0);
}

TEST_F(Config, ATooLongValueLeavesTheFieldAsItWas) {
  EXPECT_EQ(Complaints("PKTPW first\nPKTPW 123456789\n").size(), 1U);
  EXPECT_STREQ(config_.PacketPassword, "first");
}

TEST_F(Config, AnEmptyTextValueIsAnError) {
  for (const std::string keyword :
       {"INBOUND", "CONFDIR", "WORKDIR", "MSGDIR", "OUTDIR", "SYSTEM", "PKTPW", "PROCESSEDDIR"}) {
    EXPECT_EQ(Complaints(keyword + "\n"), Strings{"Config directive " + keyword + " has an empty value"});
    EXPECT_EQ(Complaints(keyword + " \t\r\n"), Strings{"Config directive " + keyword + " has an empty value"});
  }
  EXPECT_EQ(Complaints("inbound"), Strings{"Config directive INBOUND has an empty value"});
  EXPECT_EQ(config_.HaveInbound, 0);
}

TEST_F(Config, AddressesAreReadWithAndWithoutAPoint) {
  EXPECT_EQ(Warnings("ADDRESS 2:250/1\nHUB 2:250/1.7\n"), Strings{});
  EXPECT_EQ(Ours(), "2,250,1,0");
  EXPECT_EQ(Hub(), "2,250,1,7");
}

TEST_F(Config, AnAddressWithoutNodeIsInvalid) {
  EXPECT_EQ(Complaints("ADDRESS 2:250\n"), Strings{"Invalid ADDRESS value: 2:250"});
  EXPECT_EQ(config_.HaveAddress, 0);
  EXPECT_EQ(Complaints("HUB 2:250\n"), Strings{"Invalid HUB value: 2:250"});
  EXPECT_EQ(config_.HaveHub, 0);
}

TEST_F(Config, AnEmptyAddressIsSimplyInvalid) {
  EXPECT_EQ(Complaints("ADDRESS\nHUB  \n"), (Strings{"Invalid ADDRESS value: ", "Invalid HUB value: "}));
}

TEST_F(Config, CharactersAfterAnAddressAreIgnoredAndNoRangeIsChecked) {
  EXPECT_EQ(Warnings("ADDRESS 2:250/1,x\nHUB 2:250/1.x\n"), Strings{});
  EXPECT_EQ(Ours(), "2,250,1,0");
  EXPECT_EQ(Hub(), "2,250,1,0");
  EXPECT_EQ(Warnings("ADDRESS -1:70000/2147483647\n"), Strings{});
  EXPECT_EQ(Ours(), "-1,70000,2147483647,0");
}

TEST_F(Config, AnInvalidAddressDoesNotTakeTheFlagOfAnEarlierOne) {
  EXPECT_EQ(Complaints("ADDRESS 1:2/3\nADDRESS x\n"), Strings{"Invalid ADDRESS value: x"});
  EXPECT_EQ(config_.HaveAddress, 1);
}

TEST_F(Config, KeepProcessedAcceptsSixWordsInAnyCase) {
  for (const std::string word : {"no", "NO", "nO", "n", "N", "0"}) {
    EXPECT_EQ(Warnings("keepprocessed " + word + "\n"), Strings{}) << word;
    EXPECT_EQ(config_.KeepProcessed, 0) << word;
  }
  for (const std::string word : {"Yes", "YES", "y", "Y", "1"}) {
    EXPECT_EQ(Warnings("KEEPPROCESSED no\nKEEPPROCESSED " + word + "\n"), Strings{}) << word;
    EXPECT_EQ(config_.KeepProcessed, 1) << word;
  }
}

TEST_F(Config, KeepProcessedRefusesAnyOtherWordAndQuotesItAsWritten) {
  const auto complaint = [](const std::string& value) {
    return Strings{"Invalid KEEPPROCESSED value '" + value + "' (use yes or no)"};
  };
  for (const std::string word : {"off", "Off", "no thanks", "yess", "00", "true", "no-more-than-fifteen"}) {
    EXPECT_EQ(Complaints("KEEPPROCESSED " + word + "\n"), complaint(word));
  }
  EXPECT_EQ(Complaints("KEEPPROCESSED\n"), complaint(""));
  EXPECT_EQ(config_.KeepProcessed, 1);
}

TEST_F(Config, AnUnknownDirectiveAloneNeverFails) {
  EXPECT_EQ(Warnings("inboundx a\nfoo\nMSGDIR m\n"),
            (Strings{"Warning: unrecognized config directive 'INBOUNDX' -- ignored",
                     "Warning: unrecognized config directive 'FOO' -- ignored"}));
  EXPECT_EQ(config_.HaveInbound, 0);
  EXPECT_STREQ(config_.MsgDir, "m");
}

TEST_F(Config, AKeywordOfMoreThan31CharactersIsShownByItsFirst31) {
  const std::string warning = "Warning: unrecognized config directive '" + std::string(31, 'X') + "' -- ignored";
  EXPECT_EQ(Warnings(std::string(31, 'x') + " value\n"), Strings{warning});
  EXPECT_EQ(Warnings(std::string(32, 'x') + " value\n"), Strings{warning});
}

TEST_F(Config, ABlankOrTabEndsTheKeywordAndNothingElse) {
  EXPECT_EQ(Warnings("MSGDIR\tm\n"), Strings{});
  EXPECT_STREQ(config_.MsgDir, "m");
  EXPECT_EQ(Warnings("MSGDIR=m\n"), Strings{"Warning: unrecognized config directive 'MSGDIR=M' -- ignored"});
}

TEST_F(Config, ThreeBadLinesAreAllReportedInTheirOrder) {
  EXPECT_EQ(Complaints("PKTPW 123456789\nINBOUND ok\nHUB x\nSYSTEM\n"),
            (Strings{"Config directive PKTPW is too long (maximum 8 characters)", "Invalid HUB value: x",
                     "Config directive SYSTEM has an empty value"}));
  EXPECT_STREQ(config_.Inbound, "ok");
}

TEST_F(Config, TheRestOfALineLongerThan511CharactersIsReadAsTheNextLine) {
  const std::string first = "; " + std::string(509, 'x');
  EXPECT_EQ(Warnings(first + "MSGDIR m\n"), Strings{});  // the comment fills the first 511
  EXPECT_STREQ(config_.MsgDir, "m");
  EXPECT_EQ(Warnings("; " + std::string(508, 'x') + "MSGDIR m\n"),
            Strings{"Warning: unrecognized config directive 'SGDIR' -- ignored"});
  EXPECT_EQ(Warnings("; " + std::string(508, 'x') + "\nMSGDIR m\n"), Strings{});
  EXPECT_STREQ(config_.MsgDir, "m");
}

TEST_F(Config, WorkDirIsDerivedFromConfDir) {
  EXPECT_EQ(Warnings("CONFDIR D:/cv\n"), Strings{});
  EXPECT_STREQ(config_.WorkDir, "D:\\cv\\WORK");
  EXPECT_STREQ(config_.ConfDir, "D:\\cv");
}

TEST_F(Config, AGivenWorkDirIsKept) {
  EXPECT_EQ(Warnings("WORKDIR D:/w\nCONFDIR D:/cv\n"), Strings{});
  EXPECT_STREQ(config_.WorkDir, "D:\\w");
}

TEST_F(Config, WithoutConfDirNoWorkDirIsDerived) {
  EXPECT_EQ(Warnings("MSGDIR m\n"), Strings{});
  EXPECT_STREQ(config_.WorkDir, "");
}

TEST_F(Config, AWorkDirIsDerivedFromAConfDirOf250CharactersButNotOf251) {
  EXPECT_EQ(Warnings("CONFDIR " + std::string(250, 'x')), Strings{});
  EXPECT_EQ(config_.WorkDir, std::string(250, 'x') + "\\WORK");
  EXPECT_EQ(Complaints("CONFDIR " + std::string(251, 'x')),
            Strings{"Derived WORKDIR path is too long; set WORKDIR explicitly"});
  EXPECT_EQ(Warnings("CONFDIR " + std::string(251, 'x') + "\nWORKDIR w\n"), Strings{});
}

TEST_F(Config, AfterAnErrorNoWorkDirIsDerived) {
  EXPECT_EQ(Complaints("CONFDIR " + std::string(251, 'x') + "\nHUB x\n"), Strings{"Invalid HUB value: x"});
}

TEST_F(Config, AFileThatCannotBeOpenedIsReportedWithItsPath) {
  EXPECT_EQ(LoadConfig((directory_ / "none.cfg").c_str(), &config_), -1);
  EXPECT_EQ(log_.StandardError(), "Could not open config file: " + (directory_ / "none.cfg") + "\n");
}

TEST_F(Config, AFailureToCloseFailsAtOnce) {
  ScopedDoor door;
  door.FailNth(Call::kClose, 1, "test.cfg");
  EXPECT_EQ(Complaints("INBOUND a\nCONFDIR " + std::string(251, 'x') + "\n"),
            Strings{"Could not close config file cleanly: " + path_});
}

TEST_F(Config, AReadErrorIsTakenForTheEndOfTheFile) {
  ScopedDoor door;
  door.FailFrom(Call::kReadAt, 2, "test.cfg");
  std::string more_than_one_read;
  while (more_than_one_read.size() < 20000) more_than_one_read += "; comment\n";
  EXPECT_EQ(Warnings("INBOUND a\n" + more_than_one_read + "MSGDIR m\n"), Strings{});
  EXPECT_TRUE(door.HasStruck());
  EXPECT_STREQ(config_.Inbound, "a");
  EXPECT_EQ(config_.HaveMsgDir, 0);
}

TEST_F(Config, TheFileIsClosedWhateverTheOutcome) {
  ScopedDoor door;
  ASSERT_EQ(Load("HUB x\n"), -1);
  EXPECT_EQ(door.OpenHandles(), 0);
  ASSERT_EQ(Load("HUB 1:2/3\n"), 0);
  EXPECT_EQ(door.OpenHandles(), 0);
  EXPECT_EQ(door.Count(Call::kClose), 2);
}
