#include "bbs/conference_table.h"

#include <memory>

#include "unit/support/site_fixture.h"

namespace {

class ConferenceLoad : public SiteFixture {
 protected:
  int Load(const std::string& conf_dir) { return LoadConferences(conf_dir.c_str(), table_.get()); }

  int LoadBytes(const std::string& bytes) {
    WriteFile(path_, bytes);
    return Load(site_.Conf());
  }

  int LoadAndValidate(const std::vector<SiteConference>& conferences, bool verbose = false) {
    site_.WriteConferences(conferences);
    EXPECT_EQ(Load(site_.Conf()), 0);
    log_.Clear();
    return ValidateConferences(verbose, table_.get());
  }

  // A record with its name or tag field replaced by a length byte and text.
  static std::string WithName(uint8_t length, const std::string& text) { return WithField(3, 41, length, text); }
  static std::string WithTag(uint8_t length, const std::string& text) { return WithField(112, 16, length, text); }

  const std::string path_ = site_.Conf("CVMCONF.DAT");
  std::unique_ptr<ConferenceTable> table_ = std::make_unique<ConferenceTable>();

 private:
  static std::string WithField(size_t at, size_t width, uint8_t length, const std::string& text) {
    std::string bytes = ConferenceBytes({});
    std::string field(1, static_cast<char>(length));
    field += text;
    field.resize(width, '\0');
    return bytes.replace(at, width, field);
  }
};

using ConferenceRouting = ConferenceLoad;

constexpr char kMalformedStart[] =
    "ERROR: routed conference 1 ('General') has an empty or malformed NetIDName/AREA tag";

// The nth of a table's conferences in a list of `count` numbers.
std::string NumberList(int count) {
  std::string list;
  for (int i = 1; i <= count; ++i) list += (i == 1 ? "" : ", ") + std::to_string(i);
  return list;
}

std::vector<SiteConference> NetmailConferences(size_t count, bool is_public) {
  return std::vector<SiteConference>(count, {"Netmail", "", false, true, is_public});
}

}  // namespace

TEST_F(ConferenceLoad, EveryFieldIsReadFromItsOffset) {
  std::string bytes(128, '\xFF');  // whatever is not read may hold anything
  bytes[2] = 0;
  bytes.replace(3, 5, FromHex("04 4E 61 6D 65"));  // "Name"
  bytes[45] = 0;
  bytes.replace(51, 2, FromHex("50 00"));
  bytes[110] = 0;
  bytes.replace(112, 4, FromHex("03 54 61 67"));  // "Tag"
  std::string flags = bytes;
  flags[2] = 1;
  std::string flags_public = bytes;
  flags_public[45] = '\x80';
  std::string flags_routed = bytes;
  flags_routed[110] = 2;
  ASSERT_EQ(LoadBytes(bytes + flags + flags_public + flags_routed), 0);
  ASSERT_EQ(table_->count, 4U);
  for (int32_t i = 0; i < 4; ++i) {
    const ConferenceEntry& entry = table_->entries[i];
    EXPECT_EQ(entry.Number, i + 1);
    EXPECT_STREQ(entry.ConfName, "Name");
    EXPECT_STREQ(entry.NetIDName, "TAG");
    EXPECT_EQ(entry.LineWidth, 80);
    EXPECT_EQ(entry.NetMailConf, i == 1);
    EXPECT_EQ(entry.PublicMsgConf, i == 2);
    EXPECT_EQ(entry.Routed, i == 3);
    EXPECT_EQ(IsNetworked(entry), i == 1 || i == 3);
  }
  EXPECT_EQ(table_->NetmailConference, -1);
  EXPECT_EQ(TakeLines(), Strings{"Loaded 4 conference(s) from CVMCONF.DAT"});
}

TEST_F(ConferenceLoad, LineWidthIsKeptBetween1And126) {
  struct Case {
    const char* stored;
    uint16_t kept;
  };
  for (const Case& c : {Case{"00 00", 79}, Case{"01 00", 1}, Case{"50 00", 80}, Case{"7E 00", 126}, Case{"7F 00", 127},
                        Case{"80 00", 127}, Case{"C8 00", 127}, Case{"00 01", 127}, Case{"FF FF", 127}}) {
    std::string bytes = ConferenceBytes({});
    ASSERT_EQ(LoadBytes(bytes.replace(51, 2, FromHex(c.stored))), 0);
    EXPECT_EQ(table_->entries[0].LineWidth, c.kept) << c.stored;
  }
}

TEST_F(ConferenceLoad, NamesAreTrimmedOfBlanksTabsAndLineEnds) {
  struct Case {
    std::string stored;
    std::string kept;
  };
  for (const Case& c : {Case{"", ""}, Case{"  \t\r\n ", ""}, Case{"a", "a"}, Case{" \t a b\t \r\n", "a b"},
                        Case{"\ra", "\ra"}, Case{"\n a", "\n a"}, Case{"a\x0B", "a\x0B"}, Case{"a.", "a."}}) {
    ASSERT_EQ(LoadBytes(WithName(static_cast<uint8_t>(c.stored.size()), c.stored)), 0);
    EXPECT_EQ(std::string(table_->entries[0].ConfName), c.kept) << ToHex(c.stored);
  }
}

TEST_F(ConferenceLoad, NamesAreCutTo40Characters) {
  const std::string text(40, 'n');
  for (const int length : {39, 40, 41, 200, 255}) {
    ASSERT_EQ(LoadBytes(WithName(static_cast<uint8_t>(length), text)), 0);
    EXPECT_EQ(std::string(table_->entries[0].ConfName), text.substr(0, length < 40 ? 39 : 40)) << length;
  }
}

TEST_F(ConferenceLoad, TagsAreCutTo15CharactersTrimmedAndInCapitals) {
  struct Case {
    uint8_t length;
    std::string stored;
    const char* kept;
  };
  for (const Case& c : {Case{11, "  echo.net\r", "ECHO.NET"}, Case{14, "abcdefghijklmno", "ABCDEFGHIJKLMN"},
                        Case{15, "abcdefghijklmno", "ABCDEFGHIJKLMNO"}, Case{16, "abcdefghijklmno", "ABCDEFGHIJKLMNO"},
                        Case{200, "abcdefghijklmno", "ABCDEFGHIJKLMNO"}, Case{1, "*", "*"}, Case{0, "X", ""},
                        Case{4, "\xE4{z\x81", "\xE4{Z\x81"}}) {
    ASSERT_EQ(LoadBytes(WithTag(c.length, c.stored)), 0);
    EXPECT_STREQ(table_->entries[0].NetIDName, c.kept) << c.stored;
  }
}

TEST_F(ConferenceLoad, APathOf511CharactersIsTriedAndOneOf512IsTooLong) {
  const std::string conf_dir(499, 'c');
  EXPECT_EQ(Load(conf_dir), -1);
  EXPECT_EQ(Load(conf_dir + "c"), -1);
  EXPECT_EQ(TakeLines(), (Strings{"FATAL: could not open " + conf_dir + "/CVMCONF.DAT",
                                  "FATAL: CONFDIR path is too long to locate CVMCONF.DAT"}));
  EXPECT_EQ(door_.Count(Call::kAny), 1);
}

TEST_F(ConferenceLoad, AMissingFileIsFatal) {
  RemoveFile(path_);
  EXPECT_EQ(Load(site_.Conf()), -1);
  EXPECT_EQ(TakeLines(), Strings{"FATAL: could not open " + path_});
}

TEST_F(ConferenceLoad, SizesAreChecked) {
  struct Case {
    size_t size;
    std::string line;
  };
  for (const Case& c :
       {Case{0, "FATAL: " + path_ + " contains no conference records"},
        Case{1, "FATAL: " + path_ + " is not aligned to 128-byte MsgSystem records"},
        Case{127, "FATAL: " + path_ + " is not aligned to 128-byte MsgSystem records"},
        Case{130, "FATAL: " + path_ + " is not aligned to 128-byte MsgSystem records"},
        Case{128, "Loaded 1 conference(s) from CVMCONF.DAT"}, Case{25600, "Loaded 200 conference(s) from CVMCONF.DAT"},
        Case{25727, "FATAL: " + path_ + " is not aligned to 128-byte MsgSystem records"},
        Case{25728, "FATAL: " + path_ + " contains 201 conferences; build limit is 200"},
        Case{128000, "FATAL: " + path_ + " contains 1000 conferences; build limit is 200"}}) {
    EXPECT_EQ(LoadBytes(std::string(c.size, '\0')), c.line[0] == 'L' ? 0 : -1) << c.size;
    EXPECT_EQ(TakeLines(), Strings{c.line});
  }
  EXPECT_EQ(table_->count, 200U);
  EXPECT_EQ(table_->entries[199].Number, 200);
}

TEST_F(ConferenceLoad, AFileThatCannotBeSizedReadOrClosedIsFatal) {
  struct Case {
    Call call;
    int nth;
    std::string line;
  };
  for (const Case& c : {Case{Call::kSize, 1, "FATAL: could not size " + path_},
                        Case{Call::kReadAt, 1, "FATAL: short read in " + path_ + " at conference 1"},
                        Case{Call::kClose, 1, "FATAL: could not close " + path_ + " cleanly"}}) {
    door_.Clear();
    door_.FailNth(c.call, c.nth);
    EXPECT_EQ(Load(site_.Conf()), -1);
    EXPECT_EQ(TakeLines(), Strings{c.line});
    EXPECT_EQ(door_.OpenHandles(), 0) << c.line;
  }
}

TEST_F(ConferenceLoad, AFileThatShrinksWhileItIsReadIsFatal) {
  WriteFile(path_, std::string(384, '\0'));
  door_.BeforeNth(Call::kReadAt, 1, [&] { WriteFile(path_, std::string(129, '\0')); });
  EXPECT_EQ(Load(site_.Conf()), -1);
  EXPECT_EQ(TakeLines(), Strings{"FATAL: short read in " + path_ + " at conference 2"});
}

TEST_F(ConferenceLoad, LoadingAgainReplacesTheEarlierTable) {
  ASSERT_EQ(Load(site_.Conf()), 0);
  ASSERT_EQ(ValidateConferences(false, table_.get()), 0);
  EXPECT_EQ(table_->NetmailConference, 3);
  site_.WriteConferences({{"Only", "ONLY"}});
  ASSERT_EQ(Load(site_.Conf()), 0);
  EXPECT_EQ(table_->count, 1U);
  EXPECT_EQ(table_->NetmailConference, -1);
}

// Routing.

TEST_F(ConferenceRouting, AnEmptyTableIsSoundAndTakesNoNetmail) {
  table_->NetmailConference = 5;
  EXPECT_EQ(ValidateConferences(true, table_.get()), 0);
  EXPECT_EQ(table_->NetmailConference, -1);
  EXPECT_EQ(TakeLines(), Strings{});
}

TEST_F(ConferenceRouting, VerboseListsEveryNetworkedConference) {
  EXPECT_EQ(LoadAndValidate({{"General", "general"},
                             {"", "*"},
                             {"Net mail", "", false, true},
                             {"Local", "LOCAL", false},
                             {"Both", "BOTH", true, true, true}},
                            true),
            0);
  EXPECT_EQ(TakeLines(), (Strings{"  conf 1: 'General'  AREA=GENERAL  route=yes  netmail=no  public-only=no",
                                  "  conf 2: '(unnamed)'  AREA=*  route=yes  netmail=no  public-only=no",
                                  "  conf 3: 'Net mail'  AREA=(none)  route=no  netmail=yes  public-only=no",
                                  "  conf 5: 'Both'  AREA=BOTH  route=yes  netmail=yes  public-only=yes"}));
}

TEST_F(ConferenceRouting, WithoutVerboseASoundTableIsSilent) {
  EXPECT_EQ(LoadAndValidate({{"General", "general"}, {"All others", "*"}}), 0);
  EXPECT_EQ(TakeLines(), Strings{});
}

TEST_F(ConferenceRouting, RoutedTagsMustBeWellFormed) {
  struct Case {
    const char* tag;
    bool sound;
  };
  for (const Case& c :
       {Case{"*", true}, Case{"A", true}, Case{"!", true}, Case{"\x80", true}, Case{"\xFF", true}, Case{"~", true},
        Case{"**", true}, Case{"", false}, Case{"MY AREA", false}, Case{"A:B", false}, Case{":", false},
        Case{"A\x7F", false}, Case{"A\tB", false}, Case{"\x1F", false}, Case{"A\x01", false}}) {
    EXPECT_EQ(LoadAndValidate({{"General", c.tag}}), c.sound ? 0 : -1) << c.tag;
    EXPECT_EQ(TakeLines(), c.sound ? Strings{} : Strings{kMalformedStart}) << c.tag;
  }
}

TEST_F(ConferenceRouting, AnUnnamedConferenceWithABadTagShowsAnEmptyName) {
  EXPECT_EQ(LoadAndValidate({{"", ""}}), -1);
  EXPECT_EQ(TakeLines(), Strings{"ERROR: routed conference 1 ('') has an empty or malformed NetIDName/AREA tag"});
}

TEST_F(ConferenceRouting, EachEarlierConferenceWithTheSameTagIsNamed) {
  EXPECT_EQ(LoadAndValidate({{"a", "Echo"}, {"b", "OTHER"}, {"c", "ECHO"}, {"d", "echo"}, {"e", "*"}, {"f", "*"}}), -1);
  EXPECT_EQ(TakeLines(), (Strings{"ERROR: duplicate routed AREA tag 'ECHO' in conferences 1 and 3",
                                  "ERROR: duplicate routed AREA tag 'ECHO' in conferences 1 and 4",
                                  "ERROR: duplicate routed AREA tag 'ECHO' in conferences 3 and 4",
                                  "ERROR: duplicate routed AREA tag '*' in conferences 5 and 6"}));
}

TEST_F(ConferenceRouting, AMalformedTagIsComparedWithTheEarlierOnesButAnEmptyOneIsNot) {
  EXPECT_EQ(LoadAndValidate({{"a", "X Y"}, {"b", "X Y"}, {"c", ""}, {"d", ""}}), -1);
  EXPECT_EQ(TakeLines(), (Strings{"ERROR: routed conference 1 ('a') has an empty or malformed NetIDName/AREA tag",
                                  "ERROR: routed conference 2 ('b') has an empty or malformed NetIDName/AREA tag",
                                  "ERROR: duplicate routed AREA tag 'X Y' in conferences 1 and 2",
                                  "ERROR: routed conference 3 ('c') has an empty or malformed NetIDName/AREA tag",
                                  "ERROR: routed conference 4 ('d') has an empty or malformed NetIDName/AREA tag"}));
}

TEST_F(ConferenceRouting, AConferenceThatIsNotRoutedMayHaveAnyTag) {
  EXPECT_EQ(LoadAndValidate({{"a", "ECHO"}, {"b", "ECHO", false}, {"c", "BAD TAG:", false}, {"d", "", false}}), 0);
  EXPECT_EQ(TakeLines(), Strings{});
}

// Where netmail goes.

TEST_F(ConferenceRouting, TheOnePrivateNetmailConferenceIsChosenSilently) {
  std::vector<SiteConference> conferences(7, {"", "", false});
  conferences[2] = {"Public", "", false, true, true};
  conferences[6] = {"Private", "", false, true, false};
  EXPECT_EQ(LoadAndValidate(conferences), 0);
  EXPECT_EQ(table_->NetmailConference, 7);
  EXPECT_EQ(TakeLines(), Strings{});
}

TEST_F(ConferenceRouting, TwoPrivateNetmailConferencesAreAnError) {
  std::vector<SiteConference> conferences = NetmailConferences(3, false);
  conferences[1].is_public = true;
  EXPECT_EQ(LoadAndValidate(conferences), -1);
  EXPECT_EQ(table_->NetmailConference, -1);
  EXPECT_EQ(
      TakeLines(),
      Strings{
          "ERROR: multiple conferences qualify as the dedicated netmail area (NetMailConf=1, PublicMsgConf=0): 1, 3"});
}

TEST_F(ConferenceRouting, TheOnlyNetmailConferenceIsChosenWithAWarningWhenItIsPublic) {
  EXPECT_EQ(LoadAndValidate({{"a", "A"}, {"b", "B", true, true, true}}), 0);
  EXPECT_EQ(table_->NetmailConference, 2);
  EXPECT_EQ(
      TakeLines(),
      Strings{
          "WARNING: no conference has NetMailConf=1 with PublicMsgConf=0; using conference 2 as the sole NetMailConf conference"});
}

TEST_F(ConferenceRouting, TwoPublicNetmailConferencesAreAmbiguous) {
  std::vector<SiteConference> conferences(5, {"", "", false});
  conferences[2] = conferences[4] = {"Public", "", false, true, true};
  EXPECT_EQ(LoadAndValidate(conferences), -1);
  EXPECT_EQ(table_->NetmailConference, -1);
  EXPECT_EQ(
      TakeLines(),
      Strings{
          "ERROR: netmail routing is ambiguous: no dedicated private netmail conference and multiple NetMailConf conferences exist: 3, 5"});
}

TEST_F(ConferenceRouting, EveryProblemIsReportedInOnePass) {
  EXPECT_EQ(LoadAndValidate({{"a", "A B"}, {"n", "", false, true}, {"c", "C"}, {"m", "", false, true}, {"d", "C"}}),
            -1);
  EXPECT_EQ(
      TakeLines(),
      (Strings{
          "ERROR: routed conference 1 ('a') has an empty or malformed NetIDName/AREA tag",
          "ERROR: duplicate routed AREA tag 'C' in conferences 3 and 5",
          "ERROR: multiple conferences qualify as the dedicated netmail area (NetMailConf=1, PublicMsgConf=0): 2, 4"}));
}

TEST_F(ConferenceRouting, ABadTagDoesNotKeepNetmailFromItsConference) {
  EXPECT_EQ(LoadAndValidate({{"General", ""}, {"n", "", false, true}}), -1);
  EXPECT_EQ(table_->NetmailConference, 2);
}

TEST_F(ConferenceRouting, ListsOfNumbersAreCutAfter255Characters) {
  // 66 numbers take 9 + 57 * 2 digits and 65 separators of 2: 253 characters; the 67th would need 4 more.
  for (const bool is_public : {false, true}) {
    EXPECT_EQ(LoadAndValidate(NetmailConferences(66, is_public)), -1);
    EXPECT_EQ(LoadAndValidate(NetmailConferences(200, is_public)), -1);
    const std::string line = TakeLines().at(0);
    const std::string list = line.substr(line.find(": 1,") + 2);
    EXPECT_EQ(list, NumberList(66) + ", ");
    EXPECT_EQ(list.size(), 255U);
  }
}
