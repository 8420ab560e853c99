// What `cvkit doctor` and `cvkit status` report: something that the sysop should act on.
#pragma once

#include <string>
#include <vector>

// Texts are UTF-8 without control bytes.
struct Attention {
  std::string code;    // stable, in lower case with hyphens
  std::string text;    // one sentence
  std::string remedy;  // from the operator's guide
};

using Attentions = std::vector<Attention>;

// Adds an item, with the guide's remedy for its code.
void AddAttention(const std::string& code, std::string text, Attentions* all);
