// The contents of `cvkit report`: the state of a site and the history of its last 90 days.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "kit/attention.h"
#include "kit/kit_site.h"
#include "kit/ledger.h"
#include "kit/log_runs.h"
#include "kit/status_facts.h"
#include "kit/unknown_areas.h"

constexpr int kReportDays = 90;  // up to today
constexpr size_t kReportRuns = 20;

// Messages, and damaged packets, counted by the lines of the log.
struct MailCounts {
  int64_t in = 0;  // stored
  int64_t out = 0;
  int64_t duplicates = 0;
  int64_t dropped = 0;
  int64_t damaged = 0;

  void Add(const MailCounts& other);
};

struct ReportDay {
  std::string date;  // "2026-11-22"
  MailCounts mail;
};

// A networked conference.
struct ReportConference {
  int32_t number = 0;
  std::string name;      // showable, as the tag
  std::string tag;       // empty for netmail
  int64_t messages = 0;  // headers
  int64_t records = 0;   // of its DAT file, of kMostDatRecords
  int64_t bytes = 0;     // of its files but the SIG file
  std::string full_on;   // as FullOn returns it
  MailCounts mail;       // of the 90 days: in, out and duplicates
};

struct ReportFacts {
  std::string made;  // a stamp
  std::string system;
  std::string address;  // empty when the configuration names none; likewise the hub's
  std::string hub;
  std::string unsettled;  // why the site may change at any moment; empty if it does not
  bool has_log = false;
  StatusFacts status;
  Attentions attention;         // of status, doctor, ledger and the last runs' lines
  std::vector<ReportDay> days;  // kReportDays
  MailCounts sum;               // of the days
  std::vector<ReportConference> conferences;
  std::vector<LoggedRun> runs;  // at most kReportRuns tosses and scans, the newest first
  std::vector<UnknownArea> unknown_areas;
  LedgerSums ledger;  // of the same days
};

// Throws NotAnswered when something cannot be read. Calls `progress` at intervals.
ReportFacts ReadReport(const KitSite& site, const std::string& log,
                       const std::function<void(size_t done, size_t all)>& progress);
