// The directives of a configuration: how they are asked for, checked and written.
#pragma once

#include <map>
#include <string>
#include <vector>

struct SetupDirective {
  const char* keyword;
  const char* option;    // of "cvkit setup"
  const char* question;  // empty if it is never asked for
  bool needed;           // every run requires it
  bool directory;
  const char* example;  // written as a comment when there is no value
  const char* comment;  // above it in the file, in lines
};

const std::vector<SetupDirective>& SetupDirectives();

// By keyword.
using SetupValues = std::map<std::string, std::string>;

// Returns why a run would refuse the value; empty if it would accept it.
std::string WhyNot(const SetupDirective& directive, const std::string& value);

// Returns the text of a configuration with these values and a comment for each directive.
std::string ConfigurationText(const SetupValues& values);

// Proposed values of the directives, found near the current directory and in the configuration of a mailer.
struct SetupProposals {
  SetupValues values;
  std::string mailer;  // its configuration; empty when there is none
  std::string box;     // the directory whose files it sends to the hub; empty when it names none
};

// Reads the mailer's configuration at `mailer`; if the path is empty, in its usual places. Throws NotAnswered when
// it cannot be read.
SetupProposals LookForMail(const std::string& mailer);

// Adds the proposals that depend on known values: the message base and the node status near the conference list.
void LookForBase(const SetupValues& known, SetupValues* proposals);
