// The output of "cvkit packet".
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kit/packet_facts.h"
#include "kit/shown_facts.h"

// The facts as JSON. It is made message by message: as one object it would take several times the memory of the file.
std::string FileJson(const FileFacts& file);

// The lines about a file, with the texts that were kept.
std::string FileText(const FileFacts& file);

// Returns a hex dump in rows of 16 bytes, with characters.
std::string HexRows(const std::string& bytes);
