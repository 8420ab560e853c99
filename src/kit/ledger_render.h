// The output of "cvkit ledger", written while the ledger is made.
#pragma once

#include <string>

#include "kit/ledger.h"

// "in 1,284 = stored 1,180 + removed 21 + ...; unknown 0, unaccounted 0", without a line end.
std::string SumLine(const LedgerSums& sums);

std::string LedgerText(const LedgerFile& file);
std::string LedgerText(const LedgerMessage& message);

// Writes the object of --json in pieces: the messages one by one, the rest at the end.
class LedgerJson {
 public:
  void Begin();
  void Add(const LedgerFile& file);
  void Add(const LedgerFile& file, const LedgerMessage& message);
  void End(const LedgerSums& sums, const LedgerQuestion& question);

 private:
  bool any_ = false;   // a message has been written
  std::string files_;  // the objects so far
};
