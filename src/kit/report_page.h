// The page of the report: HTML without scripts that needs no other file.
#pragma once

#include <string>

#include "kit/report_facts.h"

std::string ReportPage(const ReportFacts& facts);

// Its parts, a section each.
std::string AttentionSection(const ReportFacts& facts);
std::string NowSection(const ReportFacts& facts);
std::string MailSection(const ReportFacts& facts);
std::string LedgerSection(const ReportFacts& facts);
std::string ConferenceSection(const ReportFacts& facts);
std::string RunSection(const ReportFacts& facts);
std::string AreaSection(const ReportFacts& facts);

// A section with a heading and a remark about it; both are HTML.
std::string Section(const std::string& heading, const std::string& remark, const std::string& content);

// The style sheet.
extern const char kReportStyle[];
