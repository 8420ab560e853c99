// The output of "cvkit messages".
#pragma once

#include <optional>
#include <string>

#include "kit/message_reader.h"
#include "kit/shown_facts.h"

// Counts of a conference's messages.
Json ConferenceJson(const StoredConference& conference);
std::string ConferenceHeading();
std::string ConferenceLine(const StoredConference& conference);

// A message, with its text if one is given.
Json MessageJson(int32_t conference, const StoredMessage& message, const std::optional<std::string>& text);

// One line about a message, indented by its depth in its thread.
std::string MessageLine(const StoredMessage& message, int depth);

// Everything about a message, and its text.
std::string WholeMessage(const StoredMessage& message, const std::optional<std::string>& text);
