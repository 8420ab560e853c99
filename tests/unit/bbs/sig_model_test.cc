// The SIG file as a simple reader sees it, line by line through a small buffer, against the lookups in large blocks.
#include <algorithm>
#include <cstdlib>
#include <random>

#include "bbs/sig_file.h"
#include "unit/support/site_fixture.h"

namespace {

// The pieces of a text as C's fgets reads them into 256 bytes, without line ends.
Strings PiecesOf(const std::string& content) {
  Strings pieces;
  for (size_t at = 0; at < content.size();) {
    const size_t line_end = content.find('\n', at);
    const size_t size = std::min<size_t>(255, (line_end == std::string::npos ? content.size() : line_end + 1) - at);
    std::string piece = content.substr(at, size).c_str();  // a text ends at its first NUL
    while (!piece.empty() && (piece.back() == '\r' || piece.back() == '\n')) piece.pop_back();
    pieces.push_back(piece);
    at += size;
  }
  return pieces;
}

bool Contains(const Strings& pieces, const std::string& msgid) {
  return std::any_of(pieces.begin(), pieces.end(),
                     [&](const std::string& piece) { return piece.substr(0, piece.find('\t')) == msgid; });
}

std::string Number(const Strings& pieces, const std::string& msgid) {
  for (const std::string& piece : pieces) {
    const size_t tab = piece.find('\t');
    if (tab != std::string::npos && piece.substr(0, tab) == msgid) {
      return std::to_string(atol(piece.c_str() + tab + 1));
    }
  }
  return "none";
}

using SigModel = SiteFixture;

}  // namespace

TEST_F(SigModel, LookupsAgreeWithReadingLineByLine) {
  const std::string path = site_.Base(7).Path("SIG");
  std::mt19937 random(20261121);
  const std::string letters = std::string("aab\t\n\r\x1A") + '\0';
  for (int round = 0; round < 1000; ++round) {
    std::string content(random() % 1200, 'a');
    for (char& c : content) {
      if (random() % 4 == 0) c = letters[random() % letters.size()];
    }
    // Now and then close to the seam of two large reads, in a line of its own or in a very long one.
    if (round % 50 == 0) content.insert(0, std::string(130900 + random() % 200, 'y') + (round % 100 == 0 ? "\n" : ""));
    std::string msgid(1 + random() % 4, 'a');
    for (char& c : msgid) c = letters[random() % 3];
    WriteFile(path, content);
    const Strings pieces = PiecesOf(content);
    const SigScan scan = ScanSigFile(path.c_str(), msgid.c_str(), "");
    EXPECT_EQ(scan.has_msgid, Contains(pieces, msgid)) << ToHex(content) << " " << msgid;
    const SigScan reply = ScanSigFile(path.c_str(), "", msgid.c_str());
    EXPECT_EQ(reply.has_parent ? std::to_string(reply.parent) : "none", Number(pieces, msgid))
        << ToHex(content) << " " << msgid;
  }
}

TEST_F(SigModel, ADosEndOfFileMarkIsAByteLikeAnyOther) {
  const std::string path = site_.Base(7).Path("SIG");
  WriteFile(path, "ev\x1Ail\t1\n1:2/3 a\t2\n");
  EXPECT_TRUE(ScanSigFile(path.c_str(), "ev\x1Ail", "").has_msgid);
  EXPECT_EQ(ScanSigFile(path.c_str(), "", "1:2/3 a").parent, 2);
  char msgid[kFoundMsgidSize];
  ASSERT_TRUE(SigFindMsgid(site_.Msg().c_str(), 7, 2, msgid));
  EXPECT_STREQ(msgid, "1:2/3 a");
}
