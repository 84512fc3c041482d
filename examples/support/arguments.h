#ifndef EXAMPLES_ARGUMENTS_H
#define EXAMPLES_ARGUMENTS_H

#include <CLI/CLI.hpp>

// Parses the command line. Ends the program after --help with 0, and after a mistake with 2 and one line.
void parseArguments(CLI::App& arguments, int argc, char** argv);

// A time in seconds from 1 to a day; refuses what is not a number (nan).
CLI::Validator isSeconds();

#endif
