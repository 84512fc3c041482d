#ifndef EXAMPLES_MESSAGE_H
#define EXAMPLES_MESSAGE_H

#include <string>
#include <string_view>

// Escapes characters that a terminal would interpret or hide, and bytes that are not UTF-8.
std::string safeText(std::string_view text);

// Prints one line on standard error: the program's name and the error as safe text of limited length.
void complain(const std::string& program, const std::string& error);

#endif
