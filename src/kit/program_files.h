// Writes files, such as a program or a configuration, that appear whole or not at all.
#pragma once

#include <string>

// Copies a program to `path`, replacing an existing file. Throws NotAnswered.
void InstallProgram(const std::string& program, const std::string& path);

// Writes a text to `path`; with `replace`, an existing file is replaced. Throws NotAnswered.
void InstallText(const std::string& text, const std::string& path, bool replace);
