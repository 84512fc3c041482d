// Standard output. Each line is flushed as soon as it is printed, also into a pipe.
#ifndef AIPQCTL_OUTPUT_H
#define AIPQCTL_OUTPUT_H

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "output_file.h"

namespace aipqctl {

using Json = nlohmann::ordered_json;

// Thrown when the reader of standard output has closed it: the program has nothing left to do.
struct OutputClosed {};

// Each function throws OutputClosed, or Failure after another write error.
void print(const std::string& text);
// Escapes unsafe text of a television: see safe_text.h.
void printLine(const std::string& line);
// Prints one object on one line.
void printJson(const Json& json);

// Returns the rows as safe text. Every cell except the last of a row is padded to its column's width.
std::vector<std::string> aligned(const std::vector<std::vector<std::string>>& rows);

// The message for an error of writing to standard output.
std::string outputProblem(int error);

// Throws OutputClosed if the reader of a pipe has closed it, otherwise Failure.
[[noreturn]] void failWriting(const CannotWrite& problem);
// Writes a whole file, or standard output for "-". Throws like print().
void save(const std::string& path, const std::string& content);

// Prints one line on standard error, as safe text of limited length.
void complain(const std::string& problem);

// Opens the closed standard streams, so that no other file gets their descriptors. Call it first.
void occupyStandardStreams();

bool isTerminal();

}  // namespace aipqctl

#endif
