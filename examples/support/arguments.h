#ifndef EXAMPLES_ARGUMENTS_H
#define EXAMPLES_ARGUMENTS_H

#include <CLI/CLI.hpp>

// Parses the command line. Exits with 0 after --help, and with 2 and a one-line message after an error.
void parseArguments(CLI::App& arguments, int argc, char** argv);

// Accepts a time in seconds from 1 to a day. Refuses nan.
CLI::Validator isSeconds();

#endif
