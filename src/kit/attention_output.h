// Prints what needs attention.
#pragma once

#include "kit/attention.h"
#include "kit/shown_facts.h"

// The members "ok" and "attention" of the JSON output.
Json AttentionJson(const Attentions& all);

// Prints each item with its remedy.
void ShowAttention(const Attentions& all);
