// The hidden command that completes the program's command line for a shell.
#ifndef TOOLS_SUPPORT_COMPLETION_H
#define TOOLS_SUPPORT_COMPLETION_H

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

// Returns the long options that a command takes: its own, and those of its parents that may follow it.
std::vector<std::string> optionsOf(const CLI::App* command);

// Returns the possible words for a value that the usage calls `name`, such as SETTING. An empty result means
// a file name or any text.
using ValuesOf = std::function<std::vector<std::string>(const std::string& name)>;

// The same; also receives the words before the word to complete.
using ValuesAfter =
    std::function<std::vector<std::string>(const std::string& name, const std::vector<std::string>& before)>;

// Adds the command `complete -- WORD...`. It prints the words that may replace the last WORD, one a line, and
// stops the parser by CLI::Success.
void addCompleteCommand(CLI::App& program, const ValuesOf& valuesOf);
void addCompleteCommand(CLI::App& program, const ValuesAfter& valuesAfter);

#endif
