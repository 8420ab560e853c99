// Files that appear whole or not at all: a program, a configuration.
#pragma once

#include <string>

// Puts a copy of a program at `path`, in the place of one that is there. Throws NotAnswered.
void InstallProgram(const std::string& program, const std::string& path);

// Puts a text at `path`; with `replace` in the place of a file that is there. Throws NotAnswered.
void InstallText(const std::string& text, const std::string& path, bool replace);
