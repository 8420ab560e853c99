// What a configuration is made of: its directives as they are asked for, judged and written.
#pragma once

#include <map>
#include <string>
#include <vector>

struct SetupDirective {
  const char* keyword;
  const char* option;    // of "cvkit setup"
  const char* question;  // empty: it is never asked for
  bool needed;           // no run does without
  bool directory;
  const char* example;  // written as a comment when it was not given
  const char* comment;  // above it in the file, in lines
};

const std::vector<SetupDirective>& SetupDirectives();

// By keyword.
using SetupValues = std::map<std::string, std::string>;

// Why a run would not take the value; empty when it would.
std::string WhyNot(const SetupDirective& directive, const std::string& value);

// The text of a configuration with these values, each directive explained.
std::string ConfigurationText(const SetupValues& values);

// What can be proposed for the directives, by what lies around the current directory and in the configuration of a
// mailer.
struct SetupProposals {
  SetupValues values;
  std::string mailer;  // its configuration; empty when there is none
  std::string box;     // the directory whose files it sends to the hub; empty when it names none
};

// Reads the mailer's configuration at `mailer`; an empty path means: where one is usually kept. Throws NotAnswered when
// it cannot be read.
SetupProposals LookForMail(const std::string& mailer);

// Adds what can be proposed once these values are known: a message base and node status near the conference list.
void LookForBase(const SetupValues& known, SetupValues* proposals);
