// How what needs attention is told.
#pragma once

#include "kit/attention.h"
#include "kit/shown_facts.h"

// The "ok" and "attention" of an answer.
Json AttentionJson(const Attentions& all);

// Prints each with its remedy.
void ShowAttention(const Attentions& all);
