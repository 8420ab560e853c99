#include "kit/site_setup.h"

#include <algorithm>

#include "ftn/address.h"
#include "kit/kit_format.h"

namespace {

struct Limit {
  const char* keyword;
  size_t longest;
};

// As the loader has them; a directory is at most kLongestDirectory.
constexpr Limit kLimits[] = {{"SYSTEM", 63}, {"PKTPW", 8}};
constexpr size_t kLongestDirectory = 255;

bool IsAddress(const SetupDirective& directive) {
  return directive.keyword == std::string("ADDRESS") || directive.keyword == std::string("HUB");
}

size_t LongestOf(const SetupDirective& directive) {
  for (const Limit& limit : kLimits) {
    if (directive.keyword == std::string(limit.keyword)) return limit.longest;
  }
  return kLongestDirectory;
}

bool IsPlain(char c) { return static_cast<unsigned char>(c) >= 0x20 && c != 0x7F; }

}  // namespace

const std::vector<SetupDirective>& SetupDirectives() {
  static const std::vector<SetupDirective> directives = {
      {"CONFDIR", "--confdir", "Where does the BBS keep its list of conferences, CVMCONF.DAT?", true, true, "C:\\CVBBS",
       "; CVTOSS32.CFG - settings of cvtoss32, with an example for each directive.\n"
       ";\n"
       "; One directive a line: a keyword (any case), blanks, its value up to the end of the line. Lines that begin with\n"
       "; a semicolon are comments; a semicolon further on belongs to the value. Directories may be written with \\ or /; on Linux write them as in\n"
       "; /srv/bbs/msgs. On either system they have to be there already.\n"
       "; The program looks for this file in the current directory, unless its path is given as the second argument:\n"
       ";\n"
       ";     cvtoss32 -check\n"
       ";     cvtoss32 -toss C:\\CVBBS\\FTN\\CVTOSS32.CFG\n"
       "\n"
       "; --- The BBS -------------------------------------------------------------------------------------------------\n"
       "\n"
       "; Where the BBS keeps its list of conferences, CVMCONF.DAT. Needed by every mode.\n"},
      {"MSGDIR", "--msgdir", "Where does it keep its message base, CVMSGnn.*?", true, true, "C:\\CVBBS\\MSGS",
       "\n"
       "; Where the BBS keeps its message base, the files CVMSGnn.*. Needed by every mode; the run lock lies here too.\n"},
      {"WORKDIR", "--workdir",
       "Where does it tell who is on which node, CVWHOSON.DAT (nothing: WORK in the first directory)?", false, true,
       "C:\\CVBBS\\WORK",
       "\n"
       "; Where the BBS tells who is on which node, CVWHOSON.DAT. When not given: WORK under CONFDIR.\n"},
      {"ADDRESS", "--address", "What is your address, zone:net/node?", false, false, "2:999/42",
       "\n"
       "; --- The network ---------------------------------------------------------------------------------------------\n"
       "\n"
       "; Our own address, zone:net/node or zone:net/node.point. Needed by -scan.\n"},
      {"HUB", "--hub", "What is the address of the system that all outbound mail goes through?", false, false,
       "2:999/1",
       "\n"
       "; The system that all outbound mail goes through. Needed by -scan.\n"},
      {"SYSTEM", "--system", "What is the name of your system, for the origin lines?", false, false,
       "The Lamplight BBS",
       "\n"
       "; The name in the origin line under each exported message, at most 63 characters. Needed by -scan.\n"},
      {"PKTPW", "--pktpw", "Which password does the hub expect in your packets (nothing: none)?", false, false,
       "SESAME",
       "\n"
       "; The password that the hub expects in our packets, at most 8 characters. None when not given.\n"},
      {"INBOUND", "--inbound", "Where does the mailer leave bundles and packets?", false, true,
       "C:\\CVBBS\\FTN\\INBOUND",
       "\n"
       "; --- The mail's ways in and out ------------------------------------------------------------------------------\n"
       "\n"
       "; Where the mailer leaves bundles and packets for us. Needed by -toss.\n"},
      {"OUTDIR", "--outdir", "Where does the mailer fetch bundles?", false, true, "C:\\CVBBS\\FTN\\OUTBOUND",
       "\n"
       "; Where the mailer fetches our bundles. Needed by -scan.\n"},
      {"KEEPPROCESSED", "--keepprocessed", "", false, false, "yes",
       "\n"
       "; What becomes of an inbound file that has been tossed: yes keeps it (the default), no deletes it.\n"},
      {"PROCESSEDDIR", "--processeddir", "", false, true, "C:\\CVBBS\\FTN\\TOSSED",
       "\n"
       "; Where it is kept. When not given: \"processed\" under INBOUND.\n"},
  };
  return directives;
}

std::string WhyNot(const SetupDirective& directive, const std::string& value) {
  if (value.empty() || value.front() == ' ' || value.back() == ' ') return "it is empty, or has blanks around it";
  if (!std::all_of(value.begin(), value.end(), IsPlain)) return "it holds a control character";
  if (value.size() > LongestOf(directive)) return fmt::format("it is longer than {} characters", LongestOf(directive));
  FtnAddress address;
  if (IsAddress(directive) && !ParseFtnAddress(value.c_str(), &address)) return "an address is zone:net/node";
  const bool is_switch = directive.keyword == std::string("KEEPPROCESSED");
  return is_switch && value != "yes" && value != "no" ? "it is yes or no" : "";
}

std::string ConfigurationText(const SetupValues& values) {
  std::string text;
  for (const SetupDirective& directive : SetupDirectives()) {
    const auto found = values.find(directive.keyword);
    const bool given = found != values.end();
    const std::string name = std::string(given ? "" : ";") + directive.keyword;
    text += fmt::format("{}{:<14} {}\n", directive.comment, name, given ? found->second : directive.example);
  }
  return text;
}
