// The message for a wrong command line.
#ifndef TOOLS_SUPPORT_WRONG_USE_H
#define TOOLS_SUPPORT_WRONG_USE_H

#include <CLI/CLI.hpp>
#include <string>

// Returns one line: the error, and a similar name or a hint to the help.
std::string wrongUse(const CLI::ParseError& error, const CLI::App& program);

#endif
