#ifndef EXAMPLES_MESSAGE_H
#define EXAMPLES_MESSAGE_H

#include <string>

#include "safe_text.h"

// Prints one line on standard error: the program's name and the error as safe text of limited length.
void complain(const std::string& program, const std::string& error);

#endif
