// The page of the report: one HTML file without scripts or references.
#pragma once

#include <string>

#include "kit/report_facts.h"

std::string ReportPage(const ReportFacts& facts);

// Each returns one section of the page, or more.
std::string AttentionSection(const ReportFacts& facts);
std::string NowSection(const ReportFacts& facts);
std::string MailSection(const ReportFacts& facts);
std::string LedgerSection(const ReportFacts& facts);
std::string ConferenceSection(const ReportFacts& facts);
std::string RunSection(const ReportFacts& facts);
std::string AreaSection(const ReportFacts& facts);

// Returns a section with a heading and a remark; all three are HTML.
std::string Section(const std::string& heading, const std::string& remark, const std::string& content);

// The style sheet.
extern const char kReportStyle[];
