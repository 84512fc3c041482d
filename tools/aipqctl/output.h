// Standard output: lines that are out as soon as they are printed, also into a pipe.
#ifndef AIPQCTL_OUTPUT_H
#define AIPQCTL_OUTPUT_H

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "output_file.h"

namespace aipqctl {

using Json = nlohmann::ordered_json;

// Thrown when nobody reads standard output any more: there is nothing left to do.
struct OutputClosed {};

// Each throws OutputClosed, or Failure if the output cannot be written for another reason.
void print(const std::string& text);
// Text of a television is printed safely: see safe_text.h.
void printLine(const std::string& line);
// One object on one line.
void printJson(const Json& json);

// The rows as safe text, each cell but a row's last as wide as its column.
std::vector<std::string> aligned(const std::vector<std::vector<std::string>>& rows);

// Throws OutputClosed if the reader of a pipe has gone, else Failure.
[[noreturn]] void failWriting(const CannotWrite& problem);
// Writes a whole file, or standard output for "-"; throws like print().
void save(const std::string& path, const std::string& content);

// One line on standard error, safe and not too long.
void complain(const std::string& problem);

// Keeps the program's files apart from its standard streams, whichever of them is closed. To be called first.
void occupyStandardStreams();

bool isTerminal();

}  // namespace aipqctl

#endif
