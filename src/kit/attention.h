// What `cvkit doctor` and `cvkit status` report: something that a sysop should look after.
#pragma once

#include <string>
#include <vector>

// Texts are UTF-8 without control bytes.
struct Attention {
  std::string code;    // stable, in lower case with hyphens
  std::string text;    // one sentence
  std::string remedy;  // as the operator's guide has it
};

using Attentions = std::vector<Attention>;

// Adds one with the remedy that the guide has for its code.
void AddAttention(const std::string& code, std::string text, Attentions* all);
